#include "cli/netrc.hpp"

#include <gtest/gtest.h>

namespace quillon::cli {
namespace {

constexpr std::string_view TEXT =
    "# machine host login commented password out\n"
    "machine other login bob password wrong\n"
    "machine HOST login ann password secret\n"
    "\tmachine host\n\tlogin carl\n\taccount x\n\tpassword \"blank \\\"quote\\\"\"\n"
    "macdef init\nmachine host login macro password macro\n\n"
    "machine bare login dora\n"
    "default login guest password anybody";

TEST(Netrc, theFirstEntryThatFits) {
    struct Row {
        const char* host;
        const char* login;
        const char* foundLogin;  // null: none is found
        const char* foundPassword;
    };
    const Row rows[] = {
        {"host", "", "ann", "secret"},
        {"host", "ann", "ann", "secret"},
        {"host", "carl", "carl", "blank \"quote\""},
        {"host", "macro", nullptr, nullptr},
        {"host", "commented", nullptr, nullptr},
        {"other", "", "bob", "wrong"},
        {"bare", "dora", nullptr, nullptr},
        {"elsewhere", "", "guest", "anybody"},
        {"elsewhere", "ann", nullptr, nullptr},
    };
    for (const Row& row : rows) {
        const auto found = findInNetrc(TEXT, row.host, row.login);
        ASSERT_EQ(found.has_value(), row.foundLogin != nullptr) << row.host << " " << row.login;
        if (!found) continue;
        EXPECT_EQ(found->login, row.foundLogin);
        EXPECT_EQ(found->password.view(), row.foundPassword);
    }
}

TEST(Netrc, whatIsCutOffAnywhereDoesNoHarm) {
    for (size_t length = 0; length <= TEXT.size(); ++length) {
        (void)findInNetrc(TEXT.substr(0, length), "host", "carl");
    }
}

}  // namespace
}  // namespace quillon::cli
