#include "cli/terminal/report.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "cli/terminal/format.hpp"
#include "cli/terminal/print.hpp"
#include "cli/terminal/process.hpp"
#include "cli/terminal/suggestion.hpp"
#include "cli/terminal/terminal.hpp"
#include "client/header_line.hpp"
#include "client/secret.hpp"

namespace quillon::cli {
namespace {

thread_local std::string* reports = nullptr;  // null: they are printed

struct Concealed {
    std::mutex mutex;
    std::vector<Secret> secrets;
};

Concealed& concealedOnes() {
    static Concealed all;
    return all;
}

void writeReport(const std::string& lines) {
    if (reports == nullptr) return printReports(lines);
    *reports += lines;
}

// What helps in this program; empty: nothing special.
std::string remedy(const Error& error, std::string_view url) {
    switch (error.code) {
        case Code::unexpectedStatus:
            if (error.httpStatus == 0) return "The log is shown by -vvv.";
            break;
        case Code::unguarded:
            return "Use put --force if nobody else writes it.";
        case Code::untrusted:
            return fmt::format("{}, or quillon login, which shows its certificate.", trustHelp);
        case Code::otherKey:
            return "If it was changed on purpose, quillon login with --pin and the new one trusts "
                   "it.";
        case Code::timedOut:
            return "Use --timeout for that.";
        case Code::storedPasswordRefused:
        case Code::noKey:
            return "Use quillon login for that.";
        case Code::noAuthorities:
            return "It is that of --ca-file, or of the site's ca-file; where neither is given, the "
                   "system's, which the package ca-certificates brings.";
        case Code::ticketRefused:
            return "klist shows your tickets, kinit gets one.";
        case Code::headerRefused:
            return "It is that of --header, or of the site's headers or headers-command.";
        case Code::handshakeRefused:
            return "A certificate is given by --cert, and --key where that is another file.";
        case Code::proxyRefused:
            return "A proxy is named by --proxy, by the site, or by the environment (http_proxy, "
                   "https_proxy, all_proxy; no_proxy names hosts to reach without it). "
                   "--proxy-auth says how to log in to it.";
        default:
            break;
    }
    const bool perhapsTls = error.httpStatus == 400 && url.starts_with("http://");
    return std::string(perhapsTls ? perhapsTlsHelp : "");
}

// A URL of many screens is told by its ends; what a person may have to use again is shorter.
std::string withoutEndlessWords(std::string_view text) {
    constexpr size_t most = 2048;
    std::string shown;
    while (!text.empty()) {
        const size_t end = std::min(text.find(' '), text.size() - 1) + 1;
        const std::string_view word = text.substr(0, end);
        if (word.size() > most) {
            shown.append(word.substr(0, 100)).append("[...]").append(word.substr(end - 50));
        } else {
            shown += word;
        }
        text.remove_prefix(end);
    }
    return shown;
}

std::string partAdvice(const KeptPart& part) {
    return fmt::format("{} of it are kept in {}. The same command goes on behind them.",
                       shortSize(part.size), part.file.string());
}

std::string shown(std::string text) {
    return harmless(withoutEndlessWords(concealed(std::move(text))));
}

std::string sentencesOf(const Error& error) {
    std::string text;
    for (const std::string& sentence : error.sentences) {
        if (!text.empty()) text += "\n  ";
        text += shown(sentence);
    }
    return text;
}

std::string lockAdvices(const Error& error) {
    std::string text;
    for (const StrayLock& lock : error.locks) {
        text += "\n  " +
                shown(unlockAdvice(lock.taken ? "To unlock it" : "If it is yours and was left over",
                                   lock.url, lock.token));
    }
    return text;
}

}  // namespace

ExitCode report(std::string_view attempt, std::string_view url, const Error& error) {
    const std::string_view target = url.empty() ? "" : " ";
    if (error.kind == Kind::interrupted) {
        complain(fmt::format("interrupted: could not {}{}{}", attempt, target, url));
        if (error.part) complain(partAdvice(*error.part));
        return exitInterrupted;
    }
    std::string text = shown(fmt::format("quillon: cannot {}{}{}:", attempt, target, url));
    text += "\n  " + sentencesOf(error);
    if (const auto help = remedy(error, url); !help.empty()) text += fmt::format("\n  {}", help);
    if (error.part) text += "\n  " + shown(partAdvice(*error.part));
    text += lockAdvices(error);
    writeReport(text + "\n");
    // What a signal does not cut short, as a LOCK that may be granted, may fail behind it.
    return error.kind == Kind::network && interrupted() ? exitInterrupted : exitCode(error.kind);
}

void reportBeside(std::string_view name, const Error& error) {
    writeReport(shown(fmt::format("quillon: {}: ", name)) + sentencesOf(error) +
                lockAdvices(error) + "\n");
}

void complain(std::string_view sentence) {
    writeReport(fmt::format("quillon: {}\n", shown(std::string(sentence))));
}

void concealInReports(std::string_view credentials, std::string_view givenIn) {
    constexpr size_t shortest = 6;  // bytes
    const bool isWord = credentials.size() < shortest && !credentials.ends_with('@');
    if (isWord && !credentials.empty()) credentials = givenIn;
    auto& [mutex, known] = concealedOnes();
    const std::lock_guard lock(mutex);
    const bool isKnown = std::ranges::any_of(
        known, [&](const Secret& secret) { return secret.view() == credentials; });
    if (!credentials.empty() && !isKnown) known.emplace_back(credentials);
}

void concealHeader(std::string_view line) {
    const std::string_view value = headerValue(line);
    concealInReports(value, line);
    const size_t scheme = value.find(' ');
    if (scheme != value.npos) concealInReports(value.substr(scheme + 1), line);
}

std::string concealed(std::string text) {
    auto& [mutex, known] = concealedOnes();
    const std::lock_guard lock(mutex);
    for (const Secret& secret : known) {
        const std::string_view mask = secret.view().ends_with('@') ? "***@" : "***";
        for (size_t at = 0; (at = text.find(secret.view(), at)) != std::string::npos;) {
            text.replace(at, secret.size(), mask);
            at += mask.size();
        }
    }
    return text;
}

ReportsInto::ReportsInto(std::string& text) : before_(std::exchange(reports, &text)) {}

ReportsInto::~ReportsInto() {
    reports = before_;
}

void printReports(const std::string& text) {
    writeErrors(text);
}

}  // namespace quillon::cli
