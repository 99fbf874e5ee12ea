#include "cli/terminal/report.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <utility>

#include "cli/terminal/terminal.hpp"

namespace quillon::cli {
namespace {

thread_local std::string* reports = nullptr;  // null: they are printed

void say(const std::string& lines) {
    if (reports == nullptr) return printReports(lines);
    *reports += lines;
}

// What helps in this program; empty: nothing special.
std::string_view remedy(const Error& error, std::string_view url) {
    switch (error.code) {
        case Code::untrusted:
            return "Use --ca-file for that.";
        case Code::timedOut:
            return "Use --timeout for that.";
        case Code::noAuthorities:
            return "It is that of --ca-file, or of the site's ca-file.";
        case Code::proxyRefused:
            return "It is that of --proxy, of the site, or of the environment (http_proxy, "
                   "https_proxy, all_proxy; no_proxy names hosts to reach without it).";
        default:
            break;
    }
    const bool perhapsTls = error.httpStatus == 400 && url.starts_with("http://");
    return perhapsTls ? "If the server speaks TLS at this port, its URL begins with https://." : "";
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

std::string forPerson(std::string_view text) {
    return harmless(withoutEndlessWords(text));
}

}  // namespace

ExitCode report(std::string_view attempt, std::string_view url, const Error& error) {
    const std::string_view target = url.empty() ? "" : " ";
    if (error.kind == Kind::interrupted) {
        complain(fmt::format("interrupted: could not {}{}{}", attempt, target, url));
        return EXIT_INTERRUPTED;
    }
    std::string text = forPerson(fmt::format("quillon: cannot {}{}{}:", attempt, target, url));
    for (const std::string& sentence : error.sentences) text += "\n  " + forPerson(sentence);
    if (const auto help = remedy(error, url); !help.empty()) text += fmt::format("\n  {}", help);
    say(text + "\n");
    return exitCode(error.kind);
}

void complain(std::string_view sentence) {
    say(fmt::format("quillon: {}\n", forPerson(sentence)));
}

ReportsInto::ReportsInto(std::string& text) : before_(std::exchange(reports, &text)) {}

ReportsInto::~ReportsInto() {
    reports = before_;
}

void printReports(const std::string& text) {
    fmt::print(stderr, "{}", text);
}

}  // namespace quillon::cli
