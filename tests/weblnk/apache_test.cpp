// weblnk against a real Apache.
#include <gtest/gtest.h>

#include "tests/support/apache.hpp"
#include "tests/support/certificates.hpp"
#include "tests/support/files.hpp"
#include "tests/weblnk/driven.hpp"

using support::Apache;
using support::Authentication;

namespace weblnk_test {
namespace {

TEST(WeblnkOnApache, aListingAndTenGetsTakeOneConnection) {
    Apache server;
    Driven driven;
    const std::string names = "abcdefghij";
    for (const char name : names) server.addMember(std::string(1, name), "text");
    {
        auto collection = driven.client(server.url());
        EXPECT_EQ(collection.head(), "200");
        EXPECT_EQ(collection.propFind(1).substr(0, 4 + server.url().size()), "207 " + server.url());
        for (const char name : names) {
            auto member = driven.client(server.url(std::string(1, name)));
            EXPECT_EQ(member.options(),
                      "200 GET HEAD PUT DELETE MOVE PROPFIND LOCK UNLOCK OPTIONS");
            EXPECT_EQ(member.head(), "200");
            EXPECT_EQ(member.get(), "200 [text]");
        }
    }
    EXPECT_EQ(server.connections(), 1);
    EXPECT_EQ(driven.sentences(), "");
}

}  // namespace
}  // namespace weblnk_test
