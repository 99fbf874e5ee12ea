#include "client/header_line.hpp"

#include <fmt/format.h>
#include <strings.h>

#include <algorithm>
#include <iterator>

namespace quillon {
namespace {

// By these requests say what they want, and where they end.
constexpr std::string_view ours[] = {"Accept-Encoding",
                                     "Connection",
                                     "Content-Length",
                                     "Content-Range",
                                     "Content-Type",
                                     "Depth",
                                     "Destination",
                                     "Expect",
                                     "Host",
                                     "If",
                                     "If-Match",
                                     "If-None-Match",
                                     "If-Range",
                                     "Lock-Token",
                                     "Overwrite",
                                     "Range",
                                     "TE",
                                     "Timeout",
                                     "Trailer",
                                     "Transfer-Encoding",
                                     "Upgrade"};

bool isOurs(std::string_view name) {
    return std::any_of(std::begin(ours), std::end(ours), [name](std::string_view each) {
        return each.size() == name.size() && !strncasecmp(each.data(), name.data(), name.size());
    });
}

bool isNameCharacter(char c) {  // RFC 9110, 5.6.2
    constexpr std::string_view others = "!#$%&'*+-.^_`|~0123456789";
    const char letter = static_cast<char>(c | 0x20);
    return (letter >= 'a' && letter <= 'z') || others.find(c) != others.npos;
}

bool isControl(char c) {
    return (static_cast<unsigned char>(c) < ' ' && c != '\t') || c == '\x7F';
}

}  // namespace

std::string headerProblem(std::string_view line) {
    const size_t colon = line.find(':');
    const std::string_view name = line.substr(0, colon);
    const bool named = colon != line.npos && !name.empty() &&
                       std::all_of(name.begin(), name.end(), isNameCharacter);
    if (!named) return "is no header, such as \"Name: value\"";
    if (isOurs(name)) return fmt::format("is {}, which every request has as it needs it", name);
    const std::string_view value = line.substr(colon + 1);
    if (std::any_of(value.begin(), value.end(), isControl)) {
        return fmt::format("is {}, whose value holds a control character", name);
    }
    if (value.find_first_not_of(" \t") == value.npos) {
        return fmt::format("is {}, which has no value", name);
    }
    return {};
}

std::string_view headerValue(std::string_view line) {
    const size_t colon = line.find(':');
    const size_t value = colon == line.npos ? colon : line.find_first_not_of(" \t", colon + 1);
    return value == line.npos ? std::string_view() : line.substr(value);
}

}  // namespace quillon
