#include "client/remote/conditions.hpp"

#include <gtest/gtest.h>

namespace quillon {
namespace {

using Lines = std::vector<std::string>;

TEST(Conditions, areHeaderLines) {
    Conditions conditions;
    conditions.tag = {"a", false};
    EXPECT_EQ(headerLines(conditions), Lines{"If-Match: \"a\""});
    conditions.tag.weak = conditions.tagInIf = true;
    EXPECT_EQ(headerLines(conditions), Lines{"If: ([W/\"a\"])"});
    conditions.lockToken = "t:1";
    EXPECT_EQ(headerLines(conditions), Lines{"If: (<t:1> [W/\"a\"])"});
    conditions.otherLocks = {{"http://h/c/ü", "t:2"}, {"http://h/d", "t:3"}};
    EXPECT_EQ(headerLines(conditions, "http://h/c/"),
              Lines{"If: <http://h/c/> (<t:1> [W/\"a\"]) <http://h/c/%C3%BC> (<t:2>) "
                    "<http://h/d> (<t:3>)"});
    EXPECT_TRUE(fitIntoHeader(conditions, "http://h/c/"));
    conditions.otherLocks.push_back({"http://h/c/" + std::string(8000, 'x'), "t:4"});
    EXPECT_FALSE(fitIntoHeader(conditions, "http://h/c/"));
    conditions = {};
    conditions.otherLocks = {{"http://h/c/a", "t:1"}};
    EXPECT_EQ(headerLines(conditions, "http://h/c/"), Lines{"If: <http://h/c/a> (<t:1>)"});
}

}  // namespace
}  // namespace quillon
