#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

namespace {

std::string outputOf(const std::string& command) {
    std::string output;
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) return output;
    for (int c = std::getc(pipe); c != EOF; c = std::getc(pipe)) output += static_cast<char>(c);
    pclose(pipe);
    return output;
}

TEST(CaseData, the_script_beside_it_still_prints_it) {
    if (std::system("perl -MUnicode::UCD -e 1 2>/dev/null") != 0)
        GTEST_SKIP() << "perl's Unicode data is not installed";
    const std::string folder = SOURCE_DIR "/runtime/";
    std::ifstream file{folder + "unicode_9_case.inc"};
    const std::string kept{std::istreambuf_iterator<char>{file}, {}};
    EXPECT_FALSE(kept.empty());
    EXPECT_EQ(outputOf("perl '" + folder + "unicode_9_case.pl'"), kept);
}

}  // namespace
