#include "platform/status.hpp"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <map>
#include <set>

namespace {

// The codes that a header declares, by name.
std::map<std::string, vx::Status> declaredCodes(const std::string& header) {
    std::ifstream file(std::string(SOURCE_DIR "/") + header);
    std::map<std::string, vx::Status> codes;
    for (std::string line; std::getline(file, line);) {
        char name[64];
        vx::Status status = 0;
        const size_t at = line.find("Status ");
        if (at != std::string::npos &&
            std::sscanf(line.c_str() + at, "Status %63[A-Z_] = 0x%Xu;", name, &status) == 2) {
            codes[name] = status;
        }
    }
    return codes;
}

TEST(status, every_code_has_a_text_of_its_own) {
    auto codes = declaredCodes("host/status.h");
    EXPECT_GT(codes.size(), 30u);
    codes.merge(declaredCodes("platform/status.hpp"));
    EXPECT_GT(codes.size(), 50u);
    std::set<std::string> texts;
    std::set<vx::Status> values;
    for (const auto& [name, status] : codes) {
        const std::string text = vxhost::statusText(status);
        EXPECT_EQ(text.find("with the code"), std::string::npos) << name;
        EXPECT_EQ(text.back(), '.') << name;
        EXPECT_TRUE(texts.insert(text).second) << name;
        EXPECT_TRUE(values.insert(status).second) << name;
    }
}

TEST(status, another_code_is_shown_by_number) {
    EXPECT_NE(vxhost::statusText(0x8BADC0DEu).find("8BADC0DE"), std::string::npos);
}

}  // namespace
