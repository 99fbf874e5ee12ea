// Dates of properties and header fields.
#include <fmt/format.h>

#include <chrono>
#include <cmath>
#include <string>

#include "platform/transcoder.hpp"
#include "platform/weblnk/date.hpp"
#include "tests/fuzz/fuzz.hpp"

namespace {

using namespace std::chrono;
using fuzz::require;

constexpr sys_days NOW = 2026y / November / 24;
constexpr sys_days FIRST = 0y / January / 1;
constexpr sys_days END = 10000y / January / 1;

std::string rfc3339(sys_seconds time) {
    const auto day = floor<days>(time);
    const year_month_day date(day);
    const hh_mm_ss clock(time - day);
    return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}Z", int{date.year()},
                       unsigned{date.month()}, unsigned{date.day()}, clock.hours().count(),
                       clock.minutes().count(), clock.seconds().count());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const auto date = vxhost::parseDate(vxhost::shownUtf32(fuzz::text(data, size)), NOW);
    if (!date) return 0;
    require(std::isfinite(*date), "a date is a number");
    const sys_seconds whole{seconds(static_cast<int64_t>(std::floor(*date)))};
    require(whole >= FIRST - days(1) && whole <= END + days(1), "of a year of four digits");
    if (whole < FIRST || whole >= END) return 0;
    const auto again = vxhost::parseDate(vxhost::toUtf32(rfc3339(whole)), NOW);
    require(again == static_cast<double>(whole.time_since_epoch().count()),
            "written out it is the same date");
    return 0;
}
