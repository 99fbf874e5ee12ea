// HTTP statuses: read from a status line (RFC 9112, 4; RFC 4918, 14.28), and their classes.
#pragma once

#include <charconv>
#include <cstdint>
#include <optional>
#include <string_view>

#include "platform/base/ascii.hpp"

namespace vxhost {

// 200 of "HTTP/1.1 200 OK"; nothing when no number stands there.
inline std::optional<int32_t> parseStatusLine(std::string_view line) {
    line = trim(line);
    const size_t blank = line.find(' ');
    if (blank == line.npos) return {};
    const std::string_view rest = trim(line.substr(blank));
    int32_t status = 0;
    const auto result = std::from_chars(rest.data(), rest.data() + rest.size(), status);
    return result.ec == std::errc{} ? std::optional(status) : std::nullopt;
}

constexpr bool isInterim(int32_t status) {
    return status >= 100 && status < 200;
}
constexpr bool isSuccess(int32_t status) {
    return status >= 200 && status < 300;
}
constexpr bool isRedirect(int32_t status) {
    return status == 301 || status == 302 || status == 307 || status == 308;
}

}  // namespace vxhost
