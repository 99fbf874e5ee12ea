// The base64 alphabet (RFC 4648, section 4) and its inverse.
#pragma once

#include <array>
#include <cstdint>

namespace vx {

inline constexpr char32_t base64Alphabet[] =
    U"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
inline constexpr char32_t base64Pad = U'=';
inline constexpr uint8_t notInBase64 = 0xFF;

// Byte to the value of its character; the pad, too, is not in the alphabet.
inline constexpr std::array<uint8_t, 256> base64Index = [] {
    std::array<uint8_t, 256> index{};
    index.fill(notInBase64);
    for (uint8_t value = 0; value < 64; ++value) index[base64Alphabet[value]] = value;
    return index;
}();

}  // namespace vx
