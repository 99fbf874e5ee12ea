#include "vxext/src/href.hpp"

#include <gtest/gtest.h>

#include <string_view>

#include "host/status.h"

namespace {

int32_t compare(std::u32string_view first, std::u32string_view second) {
    return vx::squillonCompareHref(first.data(), int64_t(first.size()), second.data(),
                                   int64_t(second.size()));
}

TEST(Href, compares_signed_characters_without_one_final_slash) {
    const struct {
        std::u32string_view smaller, greater;
    } rows[] = {
        {U"/a", U"/a//"},
        {U"/a/", U"/ab"},
        {U"/ab/", U"/b"},
        {U"", U"a"},
        {U"\x80000000", U"\x7FFFFFFF"},
    };
    for (const auto& [smaller, greater] : rows) {
        EXPECT_EQ(compare(smaller, greater), -1);
        EXPECT_EQ(compare(greater, smaller), 1);
    }
    for (const auto& same : {U"", U"/", U"/a", U"/a/"}) EXPECT_EQ(compare(same, same), 0);
    EXPECT_EQ(compare(U"/a/", U"/a") | compare(U"", U"/"), 0);
    EXPECT_EQ(vx::Status(vx::squillonCompareHref(U"a", -1, U"a", 1)), vx::VX_INVALID_ARGUMENT);
    EXPECT_EQ(vx::Status(vx::squillonCompareHref(U"a", 1, U"a", -1)), vx::VX_INVALID_ARGUMENT);
}

}  // namespace
