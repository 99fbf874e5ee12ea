#include "platform/base/status.hpp"

#include <gtest/gtest.h>

#include <map>
#include <regex>

#include "tests/support/files.hpp"

// Of all that the headers declare.
TEST(status, every_code_has_a_text_of_its_own) {
    const std::string declared = support::readFile(SOURCE_DIR "/host/status.h") +
                                 support::readFile(SOURCE_DIR "/platform/base/status.hpp");
    const std::regex code("Status ([A-Z_]+) = (0x[0-9A-F]+)");
    std::map<std::string, vx::Status> codes;
    for (std::sregex_iterator it(declared.begin(), declared.end(), code), end; it != end; ++it) {
        const auto status = static_cast<vx::Status>(std::stoul((*it)[2], nullptr, 16));
        const std::string text = vxhost::statusText(status);
        EXPECT_TRUE(text.ends_with('.') && text.find("with the code") == text.npos) << (*it)[1];
        EXPECT_TRUE(codes.emplace(text, status).second) << (*it)[1];
    }
    EXPECT_GT(codes.size(), 50u);
    EXPECT_NE(vxhost::statusText(0x8BADC0DEu).find("with the code 8BADC0DE."), std::string::npos);
}
