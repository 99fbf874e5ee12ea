// Points in time as people write them on the command line.
#pragma once

#include <string_view>

#include "client/result.hpp"
#include "client/time.hpp"

namespace quillon::cli {

// RFC 3339 ("2026-11-24T20:32:05Z"), local time ("2026-11-24", "2026-11-24 20:32", with ":05"), or
// an age in seconds, minutes, hours, days or weeks ("90s", "30m", "12h", "7d", "2w").
// An age counts from now.
Result<Time> parseTimeArgument(std::string_view text, Time now);

}  // namespace quillon::cli
