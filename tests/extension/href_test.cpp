#include "vxext/src/href.hpp"

#include <gtest/gtest.h>

#include <string_view>

#include "host/status.h"

namespace {

TEST(Href, one_final_slash_does_not_count) {
    const struct {
        std::u32string_view first, second;
        int order;
    } rows[] = {
        {U"/a/", U"/a", 0},
        {U"/a/b/", U"/a/b/", 0},
        {U"", U"/", 0},
        {U"/a/b//", U"/a/b", 1},
        {U"/a", U"/ab", -1},
        {U"/ab", U"/a", 1},
        {U"/a", U"", 1},
        {U"/a", U"/b", -1},
        {U"/b", U"/ab", 1},
        {U"/\xE4", U"/\x20AC", -1},
        {U"\x7FFFFFFF", U"\x80000000", 1},  // characters are signed
    };
    for (const auto& [first, second, order] : rows)
        EXPECT_EQ(vx::squillonCompareHref(first.data(), int64_t(first.size()), second.data(),
                                          int64_t(second.size())),
                  order);
    const int32_t refused = int32_t(vx::VX_INVALID_ARGUMENT);
    EXPECT_EQ(vx::squillonCompareHref(U"/a", -1, U"/a", 2), refused);
    EXPECT_EQ(vx::squillonCompareHref(U"/a", 2, U"/a", -1), refused);
}

}  // namespace
