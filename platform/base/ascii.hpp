// ASCII as protocols mean it, whatever the locale.
#pragma once

#include <charconv>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

namespace vxhost {

constexpr char lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

inline std::string lowerCase(std::string_view text) {
    std::string lowered(text);
    for (char& c : lowered) c = lower(c);
    return lowered;
}

// Without the white space of XML and of header fields around it (XML 1.0, 2.3; RFC 9110, 5.6.3).
constexpr std::string_view trim(std::string_view text) {
    constexpr std::string_view blanks = " \t\r\n";
    const size_t first = text.find_first_not_of(blanks);
    if (first == text.npos) return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

// Decimal digits alone make a number; nothing for one that does not fit.
template <class Number>
std::optional<Number> parseNumber(std::string_view text) {
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc{} || end != text.data() + text.size()) return {};
    return number;
}

}  // namespace vxhost
