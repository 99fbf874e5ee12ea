#include "cli/terminal/exit_code.hpp"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <regex>

#include "tests/support/files.hpp"

namespace quillon::cli {
namespace {

TEST(ExitCode, theDocumentSaysWhatHelpSays) {
    const std::string document = support::readFile(SOURCE_DIR "/docs/exit-codes.md");
    std::string help = "Exit codes:\n";
    const std::regex row(R"(\| (\d+) \| (.*) \|)");
    for (std::sregex_iterator at(document.begin(), document.end(), row), end; at != end; ++at) {
        help += fmt::format("  {:<4} {}\n", (*at)[1].str(), (*at)[2].str());
    }
    EXPECT_EQ(help, exitCodeHelp());
}

}  // namespace
}  // namespace quillon::cli
