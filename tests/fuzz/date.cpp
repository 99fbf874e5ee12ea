// Dates of properties and header fields.
#include <fmt/chrono.h>

#include <cmath>

#include "platform/transcoder.hpp"
#include "platform/weblnk/date.hpp"
#include "tests/fuzz/fuzz.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    constexpr std::chrono::sys_days NOW{std::chrono::days(20'000)};
    constexpr double FIRST = -62167219200, END = 253402300800;  // of the years 0 to 9999
    constexpr double OFFSET = 86400;                            // more than a date can have
    const auto date = vxhost::parseDate(vxhost::shownUtf32(fuzz::text(data, size)), NOW);
    if (!date) return 0;
    fuzz::require(*date > FIRST - OFFSET && *date < END + OFFSET, "a year has four digits");
    if (*date < FIRST || *date >= END) return 0;
    const auto whole = static_cast<std::time_t>(std::floor(*date));
    const auto written = fmt::format("{:%Y-%m-%dT%H:%M:%SZ}", fmt::gmtime(whole));
    fuzz::require(vxhost::parseDate(vxhost::toUtf32(written), NOW) == static_cast<double>(whole),
                  "written out it is the same date");
    return 0;
}
