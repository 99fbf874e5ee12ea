#include "platform/host/clock.hpp"

#include <gtest/gtest.h>

#include <ctime>

#include "host/status.h"

TEST(clock, seconds_in_gmt_and_the_zone_of_this_moment) {
    double output[2] = {};
    // POSIX zones need no zone data.
    for (const auto& [zone, toGmt] : {std::pair{"XST-5:30", -19800}, {"YST8", 28800}}) {
        setenv("TZ", zone, 1);
        ASSERT_EQ(vxhost::dateTime(vx::DATETIME_NOW, output, vx::DATETIME_NOW_FLAGS), 0u);
        EXPECT_NEAR(output[0], static_cast<double>(std::time(nullptr)), 60);
        EXPECT_EQ(output[1], toGmt) << zone;
    }
    unsetenv("TZ");
}
