#include "cli/session/netrc.hpp"

#include <gtest/gtest.h>

namespace quillon::cli {
namespace {

constexpr std::string_view NETRC =
    "# machine host login commented password out\n"
    "machine other login bob password wrong\n"
    "machine HOST login ann password secret\n"
    "\tmachine host\n\tlogin carl\n\taccount x\n\tpassword \"blank \\\"quote\\\"\"\n"
    "macdef init\nmachine host login macro password macro\n\n"
    "machine bare login dora\n"
    "machine nobody password \"for all\"\n"
    "default login guest password anybody";

TEST(Netrc, theFirstEntryThatFits) {
    const std::tuple<const char*, const char*, const char*> rows[] = {
        {"host", "", "ann secret"},
        {"host", "carl", "carl blank \"quote\""},
        {"host", "macro", ""},
        {"host", "commented", ""},
        {"bare", "dora", ""},
        {"nobody", "eve", " for all"},
        {"elsewhere", "", "guest anybody"},
        {"elsewhere", "ann", ""},
    };
    for (const auto& [host, login, expected] : rows) {
        const auto found = findInNetrc(NETRC, host, login);
        EXPECT_EQ(found ? found->login + " " + std::string(found->password.view()) : "", expected)
            << host << " " << login;
    }
}

}  // namespace
}  // namespace quillon::cli
