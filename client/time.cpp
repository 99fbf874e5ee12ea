#include "client/time.hpp"

#include <fmt/chrono.h>

#include <cmath>
#include <ctime>
#include <limits>
#include <string>

#include "platform/text/date.hpp"

namespace quillon {
namespace {

// RFC 3339 has four digits for a year.
constexpr double FIRST_SECOND = -62'167'219'200;  // of the year 0
constexpr double END_OF_YEARS = 253'402'300'800;  // of the year 10000

// What a local date-time exceeds GMT by, now: the zone value of the host's date-time service.
double zoneSeconds() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    return static_cast<double>(local.tm_gmtoff);
}

}  // namespace

std::optional<Time> timeOf(double seconds) {
    const double milliseconds = std::round(seconds * 1000);
    const bool shown = milliseconds >= FIRST_SECOND * 1000 && milliseconds < END_OF_YEARS * 1000;
    if (!shown) return std::nullopt;
    return Time(std::chrono::milliseconds(static_cast<int64_t>(milliseconds)));
}

std::string httpDate(Time time) {
    return fmt::format("{:%a, %d %b %Y %H:%M:%S} GMT",
                       fmt::gmtime(std::chrono::system_clock::to_time_t(time)));
}

timespec timespecOf(Time time) {
    const auto whole = std::chrono::floor<std::chrono::seconds>(time);
    return {static_cast<time_t>(whole.time_since_epoch().count()),
            static_cast<long>(std::chrono::nanoseconds(time - whole).count())};
}

double localReference(Time time) {
    const double seconds = static_cast<double>(time.time_since_epoch().count()) / 1000;
    const double local = seconds + zoneSeconds();
    return local != 0 ? local : std::numeric_limits<double>::min();
}

Time timeNow() {
    return std::chrono::floor<std::chrono::milliseconds>(std::chrono::system_clock::now());
}

std::optional<Time> parseTime(std::string_view text) {
    const auto seconds = vxhost::parseDate(std::u32string(text.begin(), text.end()));
    return seconds ? timeOf(*seconds) : std::nullopt;
}

}  // namespace quillon
