#include "cli/report.hpp"

#include <fmt/format.h>

#include <cstdio>
#include <string>

#include "cli/terminal.hpp"

namespace quillon::cli {

ExitCode report(std::string_view attempt, std::string_view url, const Error& error) {
    const std::string_view target = url.empty() ? "" : " ";
    if (error.kind == Kind::interrupted) {
        complain(fmt::format("interrupted: could not {}{}{}", attempt, target, url));
        return EXIT_INTERRUPTED;
    }
    std::string text = harmless(fmt::format("quillon: cannot {}{}{}:", attempt, target, url));
    for (const std::string& sentence : error.sentences) text += "\n  " + harmless(sentence);
    fmt::print(stderr, "{}\n", text);
    return exitCode(error.kind);
}

void complain(std::string_view sentence) {
    fmt::print(stderr, "quillon: {}\n", harmless(sentence));
}

}  // namespace quillon::cli
