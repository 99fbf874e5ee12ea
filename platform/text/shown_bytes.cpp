#include "platform/text/shown_bytes.hpp"

#include <charconv>

namespace vxhost {

std::optional<char> readShownByte(std::string_view text) {
    if (text.size() < shownByteLength || !text.starts_with("\\x")) return std::nullopt;
    unsigned byte = 0;
    const char* const end = text.data() + shownByteLength;
    if (std::from_chars(text.data() + 2, end, byte, 16).ptr != end) return std::nullopt;
    const bool isShownSo = (byte > 0 && byte < ' ') || byte >= 0x7F || byte == '\\';
    return isShownSo ? std::optional(static_cast<char>(byte)) : std::nullopt;
}

std::string withoutShownBytes(std::string_view text) {
    std::string bytes;
    for (size_t at = 0; at < text.size(); ++at) {
        const auto shown = readShownByte(text.substr(at));
        bytes += shown.value_or(text[at]);
        if (shown) at += shownByteLength - 1;
    }
    return bytes;
}

}  // namespace vxhost
