// Dates of HTTP and WebDAV.
#pragma once

#include <chrono>
#include <optional>
#include <string_view>

namespace vxhost {

// Seconds since 1970 in UTC, or nothing for a text that is no date. Read are RFC 3339 and the
// three forms of RFC 9110, 5.6.7, wherever the text came from (servers swap them), with "UTC", "Z"
// or a numeric offset in place of "GMT" too. now decides the century of a two-digit year. A leap
// second is the second after it.
std::optional<double> parseDate(
    std::u32string_view text,
    std::chrono::system_clock::time_point now = std::chrono::system_clock::now());

}  // namespace vxhost
