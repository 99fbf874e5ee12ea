#include "client/remote/conditions.hpp"

#include <gtest/gtest.h>

namespace quillon {
namespace {

using Lines = std::vector<std::string>;

TEST(Conditions, areHeaderLines) {
    const struct {
        Conditions conditions;
        Lines lines;
    } rows[] = {
        {{.onlyNew = true}, {"If-None-Match: *"}},
        {{.tag = {"a", false}}, {"If-Match: \"a\""}},
        {{.tag = {"a", true}, .tagInIf = true}, {"If: ([W/\"a\"])"}},
        {{.tag = {"a", true}, .lockToken = "t:1"}, {"If: (<t:1> [W/\"a\"])"}},
        {{.lockToken = "t:1"}, {"If: (<t:1>)"}},
    };
    for (const auto& row : rows) EXPECT_EQ(headerLines(row.conditions), row.lines);
}

}  // namespace
}  // namespace quillon
