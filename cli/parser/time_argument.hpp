// Points in time as people write them on the command line.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include "cli/parser/parser.hpp"
#include "client/result.hpp"
#include "client/time.hpp"

namespace quillon::cli {

// RFC 3339 ("2026-11-24T20:32:05Z"), local time ("2026-11-24", "2026-11-24 20:32", with ":05"), or
// an age in seconds, minutes, hours, days or weeks ("90s", "30m", "12h", "7d", "2w").
// An age counts from now.
Result<Time> parseTimeArgument(std::string_view text, Time now);

// An option that takes such a time. The time must live as long as the command.
OptionDefinition addTimeOption(CommandDefinition command, const std::string& name,
                               std::optional<Time>& time, const std::string& meaning);

inline constexpr auto TIME_HELP =
    "TIME is an age (90s, 30m, 12h, 7d, 2w), a local time (2026-11-24, \"2026-11-24 20:32\") or\n"
    "one with its zone (2026-11-24T20:32:05Z).\n";

}  // namespace quillon::cli
