// Sizes, dates and words of commands as people and programs read them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "client/time.hpp"

namespace quillon::cli {

std::string shortSize(uint64_t bytes);  // "312 B", "12.3 KiB"
std::string longSize(uint64_t bytes);   // "12.3 KiB (12595 bytes)"

// A text as one word of a shell's command, quoted where that is needed.
std::string shellWord(std::string_view text);
// Whether a token that a server chose may stand in a command for a person to paste: it has the
// characters of a URI (RFC 3986, 2) and cannot pass for an option.
bool tokenShowable(std::string_view token);

std::string localDate(std::optional<Time> time);  // "2026-11-24 20:32", "-" for none
std::string longDate(std::optional<Time> time);   // with seconds and time zone
std::string rfc3339(Time time);                   // in UTC, "2026-11-24T20:32:05Z"

}  // namespace quillon::cli
