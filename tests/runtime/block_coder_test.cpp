#include "runtime/block_coder.hpp"

#include <gtest/gtest.h>

#include <sstream>

#include "tests/support/guarded_block.hpp"

namespace {

using Bytes = std::basic_string<uint8_t>;

Bytes bytesOf(const char* hexadecimal) {
    std::istringstream numbers{hexadecimal};
    Bytes bytes;
    for (unsigned byte; numbers >> std::hex >> byte;) bytes += static_cast<uint8_t>(byte);
    return bytes;
}

TEST(BlockCoder, known_codes) {
    constexpr uint64_t modulus = 65521ull * 65537;
    const struct {
        uint64_t modulus, exponent;
        uint32_t direction;
        const char *input, *output;
        uint32_t length;
    } rows[] = {
        // A small modulus copies.
        {0xFFFFFF, 3, 0, "01 02 03 04 05", "01 02 03 04 05", 5},
        // Input without a header is refused.
        {modulus, 3, 0, "", "", 0},
        {modulus, 3, 1, "09 09 09", "", 0},
        // With the exponent 1 a block is itself: the chained byte, as far as the modulus has room
        // for it, then the data. The exponent 0 makes each 1.
        {0xFFFFFFFF, 1, 0, "AA BB CC DD", "04 00 CC 00 04 AA BB CC 4C DD 00 00", 12},
        {0x1FFFFFF, 1, 0, "AA BB CC", "03 00 BB 00 00 AA BB CC", 8},
        {0x1000000, 0, 0, "07 07", "01 00 00 00 00 00 00 01", 8},
        {modulus, 65539, 0, "61 62 63 64", "8A 3C 9C 51 54 B1 C9 9C CB 0D AC 14", 12},
        // Decoding stops at the length of the header.
        {modulus, 1, 1, "34 12 56 00", "", 0x1234},
        {modulus, 1, 1, "02 00 00 00 01 02 03 04 05", "02 03", 2},
        {modulus, 1, 1, "05 00 00 00 01 02 03 04 05 06", "02 03 04 06 00", 5},
        {modulus, 1, 1, "00 00 00 00 01 02 03 04", "", 0},
    };
    for (const auto& row : rows) {
        const Bytes input = bytesOf(row.input), output = bytesOf(row.output);
        const test::Guarded<uint8_t> from{std::span{input}};
        const test::GuardedBlock to{output.size()};
        uint32_t length = 12345;
        vxzscode(&row.modulus, &row.exponent, from.data(), static_cast<int32_t>(input.size()),
                 row.direction, to.bytes().data(), &length);
        EXPECT_EQ(Bytes(to.bytes().begin(), to.bytes().end()), output);
        EXPECT_EQ(length, row.length);
    }
}

// With two exponents that undo each other.
TEST(BlockCoder, what_is_encoded_decodes) {
    constexpr uint64_t modulus = 65521ull * 65537, exponents[] = {65539, 2335287979};
    for (Bytes bytes{7}; bytes.size() < 300; bytes += static_cast<uint8_t>(151 * bytes.size())) {
        const test::GuardedBlock coded{4 + (bytes.size() + 2) / 3 * 4}, decoded{bytes.size()};
        uint32_t length = 0;
        vxzscode(&modulus, &exponents[0], bytes.data(), static_cast<int32_t>(bytes.size()), 0,
                 coded.bytes().data(), &length);
        vxzscode(&modulus, &exponents[1], coded.bytes().data(), static_cast<int32_t>(length), 1,
                 decoded.bytes().data(), &length);
        EXPECT_EQ(Bytes(decoded.bytes().begin(), decoded.bytes().end()), bytes);
        EXPECT_EQ(length, bytes.size());
    }
}

TEST(BlockCoder, a_negative_count_is_refused_or_stored_as_it_came) {
    const uint64_t copies = 1, codes = 1 << 24;
    uint32_t length = 1;
    EXPECT_EQ(*vxzscode(&codes, &codes, nullptr, -1, 1, nullptr, &length), 0u);
    EXPECT_EQ(*vxzscode(&copies, &copies, nullptr, -7, 0, nullptr, &length), -7u);
}

}  // namespace
