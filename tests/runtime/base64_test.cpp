#include "runtime/base64.hpp"

#include <gtest/gtest.h>

#include <cstring>
#include <optional>
#include <random>
#include <string>

#include "tests/support/test_pool.hpp"

namespace {

using Bytes = std::vector<uint8_t>;
using Text = std::u32string;

Bytes bytesOf(const std::string& text) {
    return {text.begin(), text.end()};
}

Text widened(const Bytes& bytes, char32_t high = 0) {
    Text units;
    for (const uint8_t byte : bytes) units += high | byte;
    return units;
}

// RFC 4648, section 4, bit by bit.
Text plainEncode(const Bytes& bytes) {
    const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    Text text;
    for (uint64_t bit = 0; bit < bytes.size() * 8; bit += 6) {
        uint32_t value = 0;
        for (uint64_t n = bit; n < bit + 6; ++n)
            value = value << 1 | (n / 8 < bytes.size() ? bytes[n / 8] >> (7 - n % 8) & 1u : 0u);
        text += static_cast<char32_t>(alphabet[value]);
    }
    while (text.size() % 4 != 0) text += U'=';
    return text;
}

std::optional<Bytes> plainDecode(const Text& text) {
    const Text alphabet = U"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    if (text.size() % 4 != 0) return std::nullopt;
    Bytes bytes;
    for (uint64_t at = 0; at < text.size(); at += 4) {
        uint32_t d[4];
        for (uint64_t n = 0; n < 4; ++n)
            d[n] = static_cast<uint32_t>(alphabet.find(text[at + n] & 0xFF));
        const auto valid = [&](int n) { return d[n] < 64; };
        const auto padded = [&](uint64_t n) { return (text[at + n] & 0xFF) == U'='; };
        if (!valid(0) || !valid(1)) return std::nullopt;
        const bool one = padded(2);
        const bool two = valid(2) && padded(3);
        if (!one && !two && !(valid(2) && valid(3))) return std::nullopt;
        bytes.push_back(static_cast<uint8_t>(d[0] << 2 | d[1] >> 4));
        if (!one) bytes.push_back(static_cast<uint8_t>(d[1] << 4 | d[2] >> 2));
        if (!one && !two) bytes.push_back(static_cast<uint8_t>(d[2] << 6 | d[3]));
        if ((one || two) && at + 4 < text.size()) return std::nullopt;
    }
    return bytes;
}

// What a codec answered; output is what it stored, terminator and all.
template <class Unit>
struct Answer {
    vx::Status status;
    std::basic_string<Unit> output;
    uint64_t count;
    uint64_t asked;  // bytes of the pool
    bool operator==(const Answer&) const = default;
};

constexpr uint64_t untouched = 777;

// Into a block of the pool; the terminator belongs to the output then.
template <class Unit, class Count, class Input, class InputCount>
Answer<Unit> allocated(vx::Status (*codec)(vx::Pool*, const Input*, InputCount, Unit**, Count*),
                       const std::basic_string<Input>& input) {
    test::TestPool pool;
    Unit* output = nullptr;
    Count count = untouched;
    const test::Guarded<Input> from{std::span{input}};
    const auto status =
        codec(&pool, from.data(), static_cast<InputCount>(input.size()), &output, &count);
    Answer<Unit> answer{status, {}, count, pool.sizes.empty() ? 0 : pool.sizes[0]};
    if (output) answer.output.assign(output, count + 1);
    EXPECT_EQ(pool.live.size(), output ? 1u : 0u);
    return answer;
}

// Into a buffer of exactly so many units.
template <class Unit, class Count, class Input, class InputCount>
Answer<Unit> intoBuffer(vx::Status (*codec)(vx::Pool*, const Input*, InputCount, Unit**, Count*),
                        const std::basic_string<Input>& input, uint64_t room) {
    const test::GuardedBlock buffer{room * sizeof(Unit)};
    auto* output = static_cast<Unit*>(buffer.data());
    Count count = untouched;
    const auto status =
        codec(nullptr, input.data(), static_cast<InputCount>(input.size()), &output, &count);
    EXPECT_EQ(output, buffer.data());
    return {status, {output, room}, count, 0};
}

TEST(Base64, encodes_bytes_of_every_length) {
    std::mt19937 random{5};
    for (uint64_t length = 0; length < 300; ++length) {
        std::basic_string<uint8_t> bytes(length, 0);
        for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random());
        const Text units = widened({bytes.begin(), bytes.end()}, 0xABCDEF00);
        const Text expected = plainEncode({bytes.begin(), bytes.end()});
        const uint64_t characters = expected.size();
        const Answer<char32_t> whole{0, expected + U'\0', characters, characters * 4 + 4};
        ASSERT_EQ(allocated(base64EncodeBlob, bytes), whole);
        ASSERT_EQ(allocated(base64Encode, units), whole);
        const Answer<char32_t> bare{0, expected, characters, 0};
        ASSERT_EQ(intoBuffer(base64EncodeBlob, bytes, characters), bare);
        ASSERT_EQ(intoBuffer(base64Encode, units, characters), bare);
    }
}

// Both decoders against the plain one, into the pool and into a buffer.
void expectDecoded(const Text& text) {
    const auto expected = plainDecode(text);
    const auto blob = allocated(base64DecodeBlob, text);
    const auto wide = allocated(base64Decode, text);
    ASSERT_EQ(blob.asked, text.size() / 4 * 3 + 5);
    ASSERT_EQ(wide.asked, text.size() / 4 * 3 * 4 + 20);
    if (!expected) {
        ASSERT_EQ(blob, (Answer<uint8_t>{vx::VX_INVALID_ARGUMENT, {}, 0, blob.asked}));
        ASSERT_EQ(wide, (Answer<char32_t>{vx::VX_INVALID_ARGUMENT, {}, 0, wide.asked}));
        const auto given = intoBuffer(base64DecodeBlob, text, text.size() / 4 * 3);
        ASSERT_EQ(given.status, vx::VX_INVALID_ARGUMENT);
        ASSERT_EQ(given.count, untouched);
        return;
    }
    const uint64_t count = expected->size();
    const std::basic_string<uint8_t> bytes(expected->begin(), expected->end());
    ASSERT_EQ(blob, (Answer<uint8_t>{0, bytes + uint8_t{0}, count, blob.asked}));
    ASSERT_EQ(wide, (Answer<char32_t>{0, widened(*expected) + U'\0', count, wide.asked}));
    ASSERT_EQ(intoBuffer(base64DecodeBlob, text, count), (Answer<uint8_t>{0, bytes, count, 0}));
    ASSERT_EQ(intoBuffer(base64Decode, text, count),
              (Answer<char32_t>{0, widened(*expected), count, 0}));
}

TEST(Base64, decodes_what_it_should_and_nothing_else) {
    struct {
        Text text;
        std::optional<std::string> bytes;
    } const table[] = {
        {U"", ""},        {U"TWFu", "Man"},     {U"TWE=", "Ma"},   {U"TQ==", "M"}, {U"TQ=x", "M"},
        {U"TW=u", "M"},   {U"\x154WFu", "Man"}, {U"TWF", {}},      {U"T", {}},     {U"T=Wu", {}},
        {U"=WFu", {}},    {U"TWE=TWFu", {}},    {U"TQ==TWFu", {}}, {U"TW u", {}},  {U"TWF\n", {}},
        {U"TWFuTWF", {}}, {U"TW-_", {}},
    };
    for (const auto& row : table) {
        const auto expected = row.bytes ? std::optional{bytesOf(*row.bytes)} : std::nullopt;
        EXPECT_EQ(plainDecode(row.text), expected);
        expectDecoded(row.text);
    }
}

TEST(Base64, every_prefix_and_every_changed_character) {
    std::mt19937 random{6};
    for (uint64_t length = 0; length < 20; ++length) {
        Bytes bytes(length);
        for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random());
        const Text text = plainEncode(bytes);
        for (uint64_t at = 0; at <= text.size(); ++at) {
            expectDecoded(text.substr(0, at));
            for (const char32_t other : U"=A/\x80\xFF") {
                Text changed = text;
                if (at < changed.size()) changed[at] = other;
                expectDecoded(changed);
            }
        }
    }
}

TEST(Base64, counts_that_cannot_be_are_refused_before_anything_is_allocated) {
    test::TestPool pool;
    char32_t* text = nullptr;
    uint8_t* bytes = nullptr;
    uint32_t count = untouched;
    uint64_t longCount = untouched;
    const char32_t* units = U"";
    const vx::Status answers[] = {
        base64Encode(&pool, units, -1, &text, &count),
        base64Encode(&pool, units, 402653182, &text, &count),
        base64EncodeBlob(&pool, nullptr, 402653182, &text, &count),
        base64EncodeBlob(&pool, nullptr, UINT64_MAX, &text, &count),
        base64Decode(&pool, units, -4, &text, &count),
        base64Decode(&pool, units, 715827880, &text, &count),
        base64DecodeBlob(&pool, units, -1, &bytes, &longCount),
    };
    for (const vx::Status answer : answers) EXPECT_EQ(answer, vx::VX_INVALID_ARGUMENT);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(longCount, 0u);
    EXPECT_EQ(pool.asked, 0);
    text = const_cast<char32_t*>(units);
    count = untouched;
    EXPECT_EQ(base64Encode(&pool, units, -1, &text, &count), vx::VX_INVALID_ARGUMENT);
    EXPECT_EQ(text, units);
    EXPECT_EQ(count, untouched);
}

TEST(Base64, without_memory_the_output_stays_null) {
    test::TestPool pool;
    char32_t* text = nullptr;
    uint8_t* bytes = nullptr;
    uint32_t count = 0;
    uint64_t longCount = 0;
    const uint8_t input[] = {'M'};
    const auto failing = [&](auto codec) {
        pool.failAt = pool.asked + 1;
        EXPECT_EQ(codec(), vx::VX_NO_MEMORY);
        EXPECT_FALSE(text || bytes);
    };
    failing([&] { return base64Encode(&pool, U"M", 1, &text, &count); });
    failing([&] { return base64EncodeBlob(&pool, input, 1, &text, &count); });
    failing([&] { return base64Decode(&pool, U"TQ==", 4, &text, &count); });
    failing([&] { return base64DecodeBlob(&pool, U"TQ==", 4, &bytes, &longCount); });
}

TEST(Base64, the_largest_counts_are_not_refused) {
    test::TestPool pool;
    char32_t* text = nullptr;
    uint32_t count = 0;
    pool.failAt = 1;
    EXPECT_EQ(base64EncodeBlob(&pool, nullptr, 402653181, &text, &count), vx::VX_NO_MEMORY);
    pool.failAt = 2;
    EXPECT_EQ(base64Decode(&pool, nullptr, 715827875, &text, &count), vx::VX_NO_MEMORY);
    EXPECT_EQ(pool.sizes, (std::vector<uint64_t>{2147483636, 2147483636}));
}

TEST(Base64, a_refused_text_leaves_nothing_decoded_behind) {
    test::TestPool pool;
    char32_t* text = nullptr;
    uint32_t count = 0;
    EXPECT_EQ(base64Decode(&pool, U"c2VjcmV0*", 9, &text, &count), vx::VX_INVALID_ARGUMENT);
    ASSERT_EQ(pool.givenBack.size(), 1u);
    EXPECT_EQ(pool.givenBack[0], Bytes(pool.sizes[0], 0));
}

}  // namespace
