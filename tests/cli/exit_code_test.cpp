#include "cli/exit_code.hpp"

#include <gtest/gtest.h>

#include <regex>
#include <set>

#include "tests/support/files.hpp"

namespace quillon::cli {
namespace {

TEST(ExitCode, theDocumentSaysWhatHelpSays) {
    std::string help = "Exit codes:\n";
    const std::string document = support::readFile(SOURCE_DIR "/docs/exit-codes.md");
    const std::regex row(R"(\| (\d+) \| (.*) \|)");
    for (std::sregex_iterator at(document.begin(), document.end(), row), end; at != end; ++at) {
        std::string code = (*at)[1];
        code.resize(5, ' ');
        help += "  " + code + (*at)[2].str() + "\n";
    }
    EXPECT_EQ(help, exitCodeHelp());
}

TEST(ExitCode, everyKindHasItsOwn) {
    std::set<int> codes;
    for (int kind = 0; kind <= static_cast<int>(Kind::interrupted); ++kind) {
        codes.insert(exitCode(static_cast<Kind>(kind)));
    }
    EXPECT_EQ(codes, (std::set<int>{1, 2, 3, 4, 5, 6, 7, 8, 130}));
}

}  // namespace
}  // namespace quillon::cli
