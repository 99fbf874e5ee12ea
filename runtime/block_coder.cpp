#include "runtime/block_coder.hpp"

#include <bit>

#include "runtime/memory.hpp"

namespace {

constexpr uint64_t smallestModulus = 1u << 24;
constexpr int32_t headerBytes = 4;
constexpr uint32_t encoding = 0;  // the direction; any other value decodes

struct Key {
    uint64_t modulus, exponent;

    uint32_t power(uint64_t base) const {
        uint64_t result = 1;
        for (uint64_t bits = exponent; bits != 0; bits >>= 1) {
            if (bits & 1) result = result * base % modulus;
            base = base * base % modulus;
        }
        return static_cast<uint32_t>(result);
    }

    // Keeps a block, chained bits and all, below the modulus.
    uint32_t chainMask() const {
        const auto top = static_cast<uint8_t>(modulus >> 25);
        return (1u << std::bit_width(top)) - 1;
    }
};

// The next bytes as one number, the first the most significant; those behind the input are 0.
uint32_t gather(const uint8_t* input, uint32_t left, uint32_t bytes) {
    uint32_t group = 0;
    for (uint32_t n = 0; n < bytes; ++n) group = group << 8 | (n < left ? input[n] : 0u);
    return group;
}

uint32_t encode(const Key& key, const uint8_t* input, uint32_t count, uint8_t* output) {
    // The header holds the input's middle byte above the low 16 bits of its length.
    uint32_t chain = key.power((uint32_t{input[count / 2]} << 16) + count);
    for (uint32_t n = 0; n < 4; ++n) *output++ = static_cast<uint8_t>(chain >> 8 * n);
    const uint32_t mask = key.chainMask();
    for (uint32_t at = 0; at < count; at += 3) {
        chain = key.power((chain & mask) << 24 | gather(input + at, count - at, 3));
        for (uint32_t n = 4; n-- > 0;) *output++ = static_cast<uint8_t>(chain >> 8 * n);
    }
    return headerBytes + (count + 2) / 3 * 4;
}

uint32_t decode(const Key& key, const uint8_t* input, uint32_t count, uint8_t* output) {
    const uint32_t length =
        key.power(__builtin_bswap32(gather(input, count, headerBytes))) & 0xFFFF;
    uint32_t written = 0;
    for (uint32_t at = headerBytes; at < count && written < length; at += 4) {
        const uint32_t block = key.power(gather(input + at, count - at, 4));
        for (uint32_t n = 3; n-- > 0 && written < length;)
            output[written++] = static_cast<uint8_t>(block >> 8 * n);
    }
    return length;
}

}  // namespace

uint32_t* vxzscode(const uint64_t* modulus, const uint64_t* exponent, const uint8_t* input,
                   int32_t count, uint32_t direction, uint8_t* output, uint32_t* outputLength) {
    const auto bytes = static_cast<uint32_t>(count);
    const Key key{*modulus, *exponent};
    if (key.modulus < smallestModulus) {
        if (count > 0) nxMemCpy(input, output, bytes);
        *outputLength = bytes;
    } else if (count < (direction == encoding ? 1 : headerBytes)) {
        *outputLength = 0;
    } else {
        *outputLength = direction == encoding ? encode(key, input, bytes, output)
                                              : decode(key, input, bytes, output);
    }
    return outputLength;
}
