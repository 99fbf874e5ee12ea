#include "cli/parser/time_argument.hpp"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

namespace quillon::cli {
namespace {

TEST(TimeArgument, agesLocalTimesAndRfc3339) {
    setenv("TZ", "UTC-2", 1);
    tzset();
    const Time now{std::chrono::seconds(1'700'000'000)};  // 2023-11-14T22:13:20Z
    const std::pair<const char*, int64_t> rows[] = {
        {"90s", 1'699'999'910},
        {"30m", 1'699'998'200},
        {"12h", 1'699'956'800},
        {"7d", 1'699'395'200},
        {"2w", 1'698'790'400},
        {"2023-11-14", 1'699'912'800},
        {"2023-11-14 12:30", 1'699'957'800},
        {"2023-11-14 12:30:05", 1'699'957'805},
        {"2023-11-14T12:30:05.000+01:00", 1'699'961'405},
    };
    for (const auto& [text, seconds] : rows) {
        EXPECT_EQ(*parseTimeArgument(text, now), Time(std::chrono::seconds(seconds))) << text;
    }
    for (const char* text : {"", "7", "d", "-7d", "7 d", "99999999999999999999d", "9999999999999w",
                             "2023-02-31", "2023-11-14 25:00", "2023-11-14 12:30 ", "yesterday"}) {
        EXPECT_FALSE(parseTimeArgument(text, now)) << text;
    }
}

}  // namespace
}  // namespace quillon::cli
