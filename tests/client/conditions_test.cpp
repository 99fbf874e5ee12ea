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
}

}  // namespace
}  // namespace quillon
