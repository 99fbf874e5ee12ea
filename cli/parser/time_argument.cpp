#include "cli/parser/time_argument.hpp"

#include <fmt/format.h>

#include <charconv>
#include <chrono>
#include <ctime>
#include <optional>
#include <string>

namespace quillon::cli {
namespace {

constexpr int64_t mostYears = 10'000;

std::optional<std::chrono::seconds> unitOf(char letter) {
    using namespace std::chrono_literals;
    switch (letter) {
        case 's':
            return 1s;
        case 'm':
            return 1min;
        case 'h':
            return 1h;
        case 'd':
            return 24h;
        case 'w':
            return 7 * 24h;
    }
    return std::nullopt;
}

std::optional<std::chrono::seconds> parseAge(std::string_view text) {
    if (text.empty()) return std::nullopt;
    const auto unit = unitOf(text.back());
    const char* end = text.data() + text.size() - 1;
    int64_t count = 0;
    const auto parsed = std::from_chars(text.data(), end, count);
    const bool whole = parsed.ec == std::errc() && parsed.ptr == end && count >= 0;
    if (!unit || !whole || count > std::chrono::years(mostYears) / *unit) return std::nullopt;
    return count * *unit;
}

std::optional<Time> parseLocal(const std::string& text) {
    for (const char* form : {"%Y-%m-%d", "%Y-%m-%d %H:%M", "%Y-%m-%d %H:%M:%S"}) {
        std::tm parts{};
        const char* end = strptime(text.c_str(), form, &parts);
        if (end == nullptr || *end != '\0') continue;
        std::tm wanted = parts;
        wanted.tm_isdst = -1;
        const std::time_t seconds = std::mktime(&wanted);
        // The 31st of a shorter month would become a day of the next one.
        if (wanted.tm_mday != parts.tm_mday) return std::nullopt;
        return Time(std::chrono::seconds(seconds));
    }
    return std::nullopt;
}

}  // namespace

Result<Time> parseTimeArgument(std::string_view text, Time now) {
    if (const auto age = parseAge(text)) return now - *age;
    if (const auto local = parseLocal(std::string(text))) return *local;
    if (const auto date = parseTime(text)) return *date;
    return localError(Kind::usage, fmt::format("\"{}\" is no time; 7d, 2026-11-24 or "
                                               "2026-11-24T20:32:05Z would be one.",
                                               text));
}

}  // namespace quillon::cli
