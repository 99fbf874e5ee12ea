#include "cli/commands/change/lock_text.hpp"

#include <fmt/format.h>

#include <chrono>

#include "cli/terminal/format.hpp"
#include "host/weblnk.h"

namespace quillon::cli {
namespace {

std::string span(uint32_t seconds) {
    constexpr uint32_t minute = 60, hour = 60 * minute, day = 24 * hour;
    if (seconds < minute) return fmt::format("{} s", seconds);
    if (seconds < hour) return fmt::format("{} min", seconds / minute);
    if (seconds < day) return fmt::format("{} h {} min", seconds / hour, seconds % hour / minute);
    return fmt::format("{} d {} h", seconds / day, seconds % day / hour);
}

}  // namespace

std::optional<Time> endOf(const FoundLock& lock) {
    if (!lock.timeout || *lock.timeout == vx::LOCK_TIMEOUT_INFINITE) return {};
    return std::chrono::floor<std::chrono::milliseconds>(std::chrono::system_clock::now() +
                                                         std::chrono::seconds(*lock.timeout));
}

std::string endText(const FoundLock& lock) {
    if (!lock.timeout) return "-";
    if (*lock.timeout == vx::LOCK_TIMEOUT_INFINITE) return "until it is given back";
    return fmt::format("until {} ({})", localDate(endOf(lock)), span(*lock.timeout));
}

std::string holderText(const FoundLock& lock) {
    std::string text = lock.owner.empty() ? "" : "by " + lock.owner;
    if (!lock.timeout) return text;
    return text.empty() ? endText(lock) : text + ' ' + endText(lock);
}

std::string lockText(const FoundLock& lock) {
    const std::string holder = holderText(lock);
    return holder.empty() ? "locked" : "locked " + holder;
}

}  // namespace quillon::cli
