// Points in time as servers know them: UTC, to the millisecond.
#pragma once

#include <chrono>
#include <optional>
#include <string_view>

namespace quillon {

using Time = std::chrono::sys_time<std::chrono::milliseconds>;

// RFC 3339 and the date forms of HTTP; nothing for what is no date.
std::optional<Time> parseTime(std::string_view text);

}  // namespace quillon
