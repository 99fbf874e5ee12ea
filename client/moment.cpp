#include "client/moment.hpp"

#include <cmath>
#include <ctime>
#include <limits>
#include <string>

#include "platform/text/date.hpp"

namespace quillon {
namespace {

constexpr double LAST_YEAR = 2.6e11;  // seconds; beyond the year 9999 either way

// What a local date-time exceeds GMT by, now: the zone value of the host's date-time service.
double zoneSeconds() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    return static_cast<double>(local.tm_gmtoff);
}

}  // namespace

std::optional<Time> timeOf(double seconds) {
    if (!(std::fabs(seconds) < LAST_YEAR)) return std::nullopt;
    return Time(std::chrono::milliseconds(std::llround(seconds * 1000)));
}

double localReference(Time time) {
    const double seconds = static_cast<double>(time.time_since_epoch().count()) / 1000;
    const double local = seconds + zoneSeconds();
    return local != 0 ? local : std::numeric_limits<double>::min();
}

std::optional<Time> parseTime(std::string_view text) {
    const auto seconds = vxhost::parseDate(std::u32string(text.begin(), text.end()));
    return seconds ? timeOf(*seconds) : std::nullopt;
}

}  // namespace quillon
