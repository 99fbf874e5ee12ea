// Sizes and dates as people and programs read them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "client/time.hpp"

namespace quillon::cli {

std::string shortSize(std::optional<uint64_t> bytes);  // "312 B", "12.3 KiB", "-"
std::string longSize(std::optional<uint64_t> bytes);   // "12.3 KiB (12595 bytes)", "-"

std::string localDate(std::optional<Time> time);  // "2026-11-24 20:32", "-" for none
std::string longDate(std::optional<Time> time);   // with seconds and time zone
std::string rfc3339(Time time);                   // in UTC, "2026-11-24T20:32:05Z"

}  // namespace quillon::cli
