#include "cli/terminal/format.hpp"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <ctime>
#include <string_view>

namespace quillon::cli {
namespace {

std::string local(std::optional<Time> time, const char* pattern) {
    if (!time) return "-";
    const std::time_t seconds =
        std::chrono::floor<std::chrono::seconds>(*time).time_since_epoch().count();
    std::tm parts{};
    localtime_r(&seconds, &parts);
    std::array<char, 64> text{};
    return {text.data(), std::strftime(text.data(), text.size(), pattern, &parts)};
}

}  // namespace

std::string shortSize(std::optional<uint64_t> bytes) {
    constexpr std::array<std::string_view, 6> units{"KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
    if (!bytes) return "-";
    if (*bytes < 1024) return fmt::format("{} B", *bytes);
    double value = static_cast<double>(*bytes) / 1024;
    size_t unit = 0;
    // 1023.95 would be rounded to 1024.0.
    for (; value >= 1023.95 && unit + 1 < units.size(); ++unit) value /= 1024;
    return fmt::format("{:.1f} {}", value, units[unit]);
}

std::string longSize(std::optional<uint64_t> bytes) {
    if (!bytes) return "-";
    if (*bytes < 1024) return fmt::format("{} {}", *bytes, *bytes == 1 ? "byte" : "bytes");
    return fmt::format("{} ({} bytes)", shortSize(bytes), *bytes);
}

std::string localDate(std::optional<Time> time) {
    return local(time, "%Y-%m-%d %H:%M");
}

std::string longDate(std::optional<Time> time) {
    return local(time, "%Y-%m-%d %H:%M:%S %Z");
}

std::string rfc3339(Time time) {
    const auto whole = std::chrono::floor<std::chrono::seconds>(time);
    const auto milliseconds = (time - whole).count();
    const std::string text = fmt::format("{:%FT%T}", fmt::gmtime(whole.time_since_epoch().count()));
    return milliseconds == 0 ? text + "Z" : fmt::format("{}.{:03}Z", text, milliseconds);
}

}  // namespace quillon::cli
