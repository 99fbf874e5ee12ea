#include "runtime/block_coder.hpp"

#include <gtest/gtest.h>

#include "tests/runtime/random.hpp"
#include "tests/support/guarded_block.hpp"

namespace {

using Bytes = std::basic_string<uint8_t>;
using Coded = std::pair<Bytes, uint32_t>;  // the output, and its length as it is told

constexpr uint64_t identity = (1 << 24) - 1;
constexpr uint64_t modulus = 65521ull * 65537;
constexpr uint64_t publicExponent = 65539;
constexpr uint64_t privateExponent = 2335287979;

// The output has room for exactly so many bytes.
Coded code(uint64_t mod, uint64_t exponent, const Bytes& input, uint32_t direction, uint64_t room) {
    const test::Guarded<uint8_t> from{std::span{input}};
    const test::GuardedBlock to{room};
    uint32_t length = 12345;
    auto* output = static_cast<uint8_t*>(to.data());
    EXPECT_EQ(vxzscode(&mod, &exponent, from.data(), static_cast<int32_t>(input.size()), direction,
                       output, &length),
              &length);
    return {{output, room}, length};
}

uint64_t encodedLength(uint64_t count) {
    return 4 + (count + 2) / 3 * 4;
}

TEST(BlockCoder, small_modulus_copies_and_input_without_a_header_is_refused) {
    const Bytes input = {1, 2, 3, 4, 5};
    for (const uint32_t direction : {0u, 1u}) {
        EXPECT_EQ(code(identity, 3, input, direction, 5), Coded(input, 5));
        for (const uint64_t count : {0u, 1u, 2u, 3u})
            if (direction == 1 || count == 0) {
                EXPECT_EQ(code(modulus, 3, Bytes(count, 9), direction, 0).second, 0u);
            }
        uint32_t length = 1;
        vxzscode(&modulus, &modulus, nullptr, -1, direction, nullptr, &length);
        EXPECT_EQ(length, 0u);
        vxzscode(&identity, &identity, nullptr, -7, direction, nullptr, &length);
        EXPECT_EQ(static_cast<int32_t>(length), -7) << "the count is stored as it came";
    }
}

// With the exponent 1 each block is itself: the chained byte, kept to 7 bits, then the data.
TEST(BlockCoder, header_and_blocks_stand_in_their_byte_orders) {
    EXPECT_EQ(code(0xFFFFFFFF, 1, {0xAA, 0xBB, 0xCC, 0xDD}, 0, 12).first,
              (Bytes{4, 0, 0xCC, 0, 0x04, 0xAA, 0xBB, 0xCC, 0x4C, 0xDD, 0, 0}));
    EXPECT_EQ(code(0x1FFFFFF, 1, {0xAA, 0xBB, 0xCC}, 0, 8).first,
              (Bytes{3, 0, 0xBB, 0, 0, 0xAA, 0xBB, 0xCC}));
    EXPECT_EQ(code(modulus, 0, {7, 7}, 0, 8).first, (Bytes{1, 0, 0, 0, 0, 0, 0, 1}))
        << "the exponent 0 makes every block 1";
    // Decoding stops at the length of the header.
    EXPECT_EQ(code(modulus, 1, {0x34, 0x12, 0x56, 0}, 1, 0), Coded(Bytes{}, 0x1234));
    EXPECT_EQ(code(modulus, 1, {2, 0, 0, 0, 1, 2, 3, 4, 5}, 1, 2), Coded({2, 3}, 2));
    EXPECT_EQ(code(modulus, 1, {5, 0, 0, 0, 1, 2, 3, 4, 5, 6}, 1, 5), Coded({2, 3, 4, 6, 0}, 5));
    EXPECT_EQ(code(modulus, 1, {0, 0, 0, 0, 1, 2, 3, 4}, 1, 0), Coded(Bytes{}, 0));
}

// One product after the other.
uint32_t plainPower(uint64_t base, uint64_t exponent) {
    uint64_t result = 1;
    while (exponent-- > 0) result = result * base % modulus;
    return static_cast<uint32_t>(result);
}

Bytes plainEncode(uint64_t exponent, const Bytes& clear) {
    const uint64_t count = clear.size();
    uint32_t chain = plainPower((uint64_t{clear[count / 2]} << 16) + count, exponent);
    Bytes coded;
    for (int shift = 0; shift < 32; shift += 8) coded += static_cast<uint8_t>(chain >> shift);
    for (uint64_t at = 0; at < count; at += 3) {
        uint64_t block = uint64_t{chain & 0x7F} << 24;
        for (uint64_t n = 0; n < 3 && at + n < count; ++n)
            block |= uint64_t{clear[at + n]} << (16 - 8 * n);
        chain = plainPower(block, exponent);
        for (int shift = 24; shift >= 0; shift -= 8) coded += static_cast<uint8_t>(chain >> shift);
    }
    return coded;
}

TEST(BlockCoder, encoding_agrees_with_a_plain_model_and_decodes_again) {
    test::Random random;
    for (uint64_t count = 1; count < 400; ++count) {
        const Bytes clear = random.bytes(count);
        const uint64_t exponent = random.below(40);
        const uint64_t length = encodedLength(count);
        ASSERT_EQ(code(modulus, exponent, clear, 0, length),
                  Coded(plainEncode(exponent, clear), length));
        const Coded again = code(modulus, publicExponent, clear, 0, length);
        ASSERT_EQ(code(modulus, privateExponent, again.first, 1, count), Coded(clear, count));
    }
    // The header holds the length modulo 65536.
    const Bytes clear(65536 + 5, 'x');
    const Coded coded = code(modulus, publicExponent, clear, 0, encodedLength(clear.size()));
    EXPECT_EQ(code(modulus, privateExponent, coded.first, 1, 5), Coded(Bytes(5, 'x'), 5));
}

}  // namespace
