#include "cli/terminal/report.hpp"

#include <fmt/format.h>

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

// The option of this program that helps; empty: none.
std::string_view remedy(Code code) {
    if (code == Code::untrusted) return "Use --ca-file for that.";
    if (code == Code::timedOut) return "Use --timeout for that.";
    return {};
}

}  // namespace

ExitCode report(std::string_view attempt, std::string_view url, const Error& error) {
    const std::string_view target = url.empty() ? "" : " ";
    if (error.kind == Kind::interrupted) {
        complain(fmt::format("interrupted: could not {}{}{}", attempt, target, url));
        return EXIT_INTERRUPTED;
    }
    std::string text = harmless(fmt::format("quillon: cannot {}{}{}:", attempt, target, url));
    for (const std::string& sentence : error.sentences) text += "\n  " + harmless(sentence);
    if (const auto option = remedy(error.code); !option.empty())
        text += fmt::format("\n  {}", option);
    say(text + "\n");
    return exitCode(error.kind);
}

void complain(std::string_view sentence) {
    say(fmt::format("quillon: {}\n", harmless(sentence)));
}

ReportsInto::ReportsInto(std::string& text) : before_(std::exchange(reports, &text)) {}

ReportsInto::~ReportsInto() {
    reports = before_;
}

void printReports(const std::string& text) {
    fmt::print(stderr, "{}", text);
}

}  // namespace quillon::cli
