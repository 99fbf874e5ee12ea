#include "cli/time_argument.hpp"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

namespace quillon::cli {
namespace {

TEST(TimeArgument, agesLocalTimesAndRfc3339) {
    setenv("TZ", "UTC-2", 1);
    tzset();
    const Time now{std::chrono::seconds(1'700'000'000)};  // 2023-11-14T22:13:20Z
    struct Row {
        const char* text;
        int64_t seconds;  // 0: refused
    };
    const Row rows[] = {
        {"90s", 1'699'999'910},
        {"30m", 1'699'998'200},
        {"12h", 1'699'956'800},
        {"7d", 1'699'395'200},
        {"2w", 1'698'790'400},
        {"0d", 1'700'000'000},
        {"2023-11-14", 1'699'912'800},
        {"2023-11-14 12:30", 1'699'957'800},
        {"2023-11-14 12:30:05", 1'699'957'805},
        {"2023-11-14T12:30:05Z", 1'699'965'005},
        {"2023-11-14T12:30:05.000+01:00", 1'699'961'405},
        {"Tue, 14 Nov 2023 12:30:05 GMT", 1'699'965'005},
        {"", 0},
        {"7", 0},
        {"d", 0},
        {"-7d", 0},
        {"7 d", 0},
        {"99999999999999999999d", 0},
        {"9999999999999w", 0},
        {"2023-02-31", 0},
        {"2023-11-14 25:00", 0},
        {"2023-11-14 12:30 ", 0},
        {"yesterday", 0},
    };
    for (const Row& row : rows) {
        const Result<Time> time = parseTimeArgument(row.text, now);
        ASSERT_EQ(static_cast<bool>(time), row.seconds != 0) << row.text;
        if (!time) continue;
        EXPECT_EQ(*time, Time(std::chrono::seconds(row.seconds))) << row.text;
    }
}

}  // namespace
}  // namespace quillon::cli
