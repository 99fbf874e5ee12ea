#include "platform/clock.hpp"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

#include "host/status.h"

namespace {

TEST(clock, seconds_in_gmt_and_the_zone_of_this_moment) {
    const struct {
        const char* zone;  // POSIX, so that no zone data is needed
        double toGmt;
    } rows[] = {{"UTC0", 0}, {"XST-5:30", -19800}, {"YST8", 28800}, {"UTC0", 0}};
    for (const auto& row : rows) {
        setenv("TZ", row.zone, 1);
        double output[2] = {};
        const auto before = static_cast<double>(std::time(nullptr));
        ASSERT_EQ(vxhost::dateTime(vx::DATETIME_NOW, output, vx::DATETIME_NOW_FLAGS), 0u);
        EXPECT_GE(output[0], before - 0.1);
        EXPECT_LE(output[0], static_cast<double>(std::time(nullptr)) + 1.1);
        EXPECT_EQ(output[1], row.toGmt) << row.zone;
    }
    unsetenv("TZ");
}

TEST(clock, another_request_is_refused) {
    double output[2] = {-1, -1};
    EXPECT_EQ(vxhost::dateTime(15, output, vx::DATETIME_NOW_FLAGS), vx::VX_UNSUPPORTED);
    EXPECT_EQ(vxhost::dateTime(vx::DATETIME_NOW, output, 0), vx::VX_UNSUPPORTED);
    EXPECT_EQ(output[0], -1);
}

}  // namespace
