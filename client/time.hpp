// Points in time as servers know them: UTC, to the millisecond.
#pragma once

#include <chrono>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>

namespace quillon {

using Time = std::chrono::sys_time<std::chrono::milliseconds>;

Time timeNow();  // by this machine's clock

// RFC 3339 and the date forms of HTTP; nothing for what is no date.
std::optional<Time> parseTime(std::string_view text);

// As "Sun, 06 Nov 1994 08:49:37 GMT" (RFC 9110, 5.6.7).
std::string httpDate(Time time);

// The host's: seconds since 1970. Nothing for a NaN, which stands for none there, and outside the
// years 0 to 9999, which RFC 3339 has no words for.
std::optional<Time> timeOf(double seconds);

// As the times of a file are set.
timespec timespecOf(Time time);

// The reference of delete and rename: the same moment on the local scale that those take. Never 0,
// which would mean no check.
double localReference(Time time);

}  // namespace quillon
