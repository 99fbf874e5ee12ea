#include "platform/status.hpp"

#include <gtest/gtest.h>

#include <regex>
#include <set>

#include "tests/support/files.hpp"

// Of all that the headers declare.
TEST(status, every_code_has_a_text_of_its_own) {
    const std::string declared = support::readFile(SOURCE_DIR "/host/status.h") +
                                 support::readFile(SOURCE_DIR "/platform/status.hpp");
    const std::regex code("Status ([A-Z_]+) = (0x[0-9A-F]+)");
    std::set<std::string> texts;
    std::set<vx::Status> values;
    for (std::sregex_iterator it(declared.begin(), declared.end(), code), end; it != end; ++it) {
        const auto status = static_cast<vx::Status>(std::stoul((*it)[2], nullptr, 16));
        const std::string text = vxhost::statusText(status);
        EXPECT_EQ(text.find("with the code"), std::string::npos) << (*it)[1];
        EXPECT_EQ(text.back(), '.') << (*it)[1];
        EXPECT_TRUE(texts.insert(text).second) << (*it)[1];
        EXPECT_TRUE(values.insert(status).second) << (*it)[1];
    }
    EXPECT_GT(values.size(), 50u);
    EXPECT_NE(vxhost::statusText(0x8BADC0DEu).find("with the code 8BADC0DE"), std::string::npos);
}
