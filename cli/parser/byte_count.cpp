#include "cli/parser/byte_count.hpp"

#include <charconv>
#include <cmath>

namespace quillon::cli {
namespace {

constexpr double mostBytes = 1e18;

}  // namespace

std::optional<uint64_t> parseByteCount(std::string_view text) {
    const char* const end = text.data() + text.size();
    uint64_t whole = 0;
    if (const auto parsed = std::from_chars(text.data(), end, whole);
        parsed.ec == std::errc() && parsed.ptr == end) {
        return whole;
    }
    double number = 0;
    const auto [rest, problem] =
        std::from_chars(text.data(), end, number, std::chars_format::fixed);
    if (problem != std::errc() || end - rest != 1) return std::nullopt;
    const size_t nth = std::string_view("KMGTkmgt").find(*rest);
    if (nth == std::string_view::npos) return std::nullopt;
    const double bytes = number * std::pow(1024.0, static_cast<double>(nth % 4 + 1));
    if (!(bytes >= 0) || bytes > mostBytes) return std::nullopt;
    return static_cast<uint64_t>(bytes);
}

}  // namespace quillon::cli
