#include "runtime/base64.hpp"

#include <gtest/gtest.h>

#include <optional>

#include "tests/runtime/random.hpp"
#include "tests/support/test_pool.hpp"

namespace {

using Bytes = std::basic_string<uint8_t>;
using Text = std::u32string;

const Text alphabet = U"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

Text widened(const Bytes& bytes, char32_t high = 0) {
    Text units;
    for (const uint8_t byte : bytes) units += high | byte;
    return units;
}

// RFC 4648, section 4, bit by bit.
Text plainEncode(const Bytes& bytes) {
    Text text;
    for (uint64_t bit = 0; bit < bytes.size() * 8; bit += 6) {
        uint32_t value = 0;
        for (uint64_t n = bit; n < bit + 6; ++n)
            value = value << 1 | (n / 8 < bytes.size() ? bytes[n / 8] >> (7 - n % 8) & 1u : 0u);
        text += alphabet[value];
    }
    return text + Text((4 - text.size() % 4) % 4, U'=');
}

// Padding ends the text; what stands behind its first character in a group does not count.
std::optional<Bytes> plainDecode(const Text& text) {
    if (text.size() % 4 != 0) return std::nullopt;
    Bytes bytes;
    for (uint64_t at = 0; at < text.size(); at += 4) {
        uint32_t bits = 0;
        uint64_t digits = 0;
        for (; digits < 4 && (text[at + digits] & 0xFF) != U'='; ++digits) {
            const uint64_t value = alphabet.find(text[at + digits] & 0xFF);
            if (value == alphabet.npos) return std::nullopt;
            bits |= static_cast<uint32_t>(value) << (18 - 6 * digits);
        }
        if (digits < 2 || (digits < 4 && at + 4 < text.size())) return std::nullopt;
        for (uint64_t n = 0; n + 1 < digits; ++n)
            bytes += static_cast<uint8_t>(bits >> (16 - 8 * n));
    }
    return bytes;
}

template <class Unit, class Count, class Input, class InputCount>
using Codec = vx::Status (*)(vx::Pool*, const Input*, InputCount, Unit**, Count*);

constexpr uint64_t untouched = 777;

// What a codec must come to, both with a block of the pool of so many units, where a terminator
// belongs to the output, and into a buffer that has room for the output alone.
template <class Unit, class Count, class Input, class InputCount>
void expectCoded(Codec<Unit, Count, Input, InputCount> codec, const std::basic_string<Input>& input,
                 const std::optional<std::basic_string<Unit>>& expected, uint64_t blockUnits) {
    const vx::Status status = expected ? vx::VX_SUCCESS : vx::VX_INVALID_ARGUMENT;
    const test::Guarded<Input> from{std::span{input}};
    const auto inputCount = static_cast<InputCount>(input.size());
    test::TestPool pool;
    Unit* output = nullptr;
    Count count = untouched;
    ASSERT_EQ(codec(&pool, from.data(), inputCount, &output, &count), status);
    ASSERT_EQ(pool.sizes, std::vector<uint64_t>{blockUnits * sizeof(Unit)});
    ASSERT_EQ(pool.live.size(), expected ? 1u : 0u);
    ASSERT_EQ(output != nullptr, expected.has_value());
    ASSERT_EQ(count, expected ? expected->size() : 0);
    if (expected) {
        ASSERT_EQ(std::basic_string<Unit>(output, count + 1), *expected + Unit{0});
    } else {
        ASSERT_EQ(pool.givenBack[0], std::vector<uint8_t>(pool.sizes[0], 0)) << "not wiped";
    }

    const test::GuardedBlock buffer{(expected ? expected->size() : blockUnits) * sizeof(Unit)};
    output = static_cast<Unit*>(buffer.data());
    count = untouched;
    ASSERT_EQ(codec(nullptr, from.data(), inputCount, &output, &count), status);
    ASSERT_EQ(output, buffer.data());
    ASSERT_EQ(count, expected ? expected->size() : untouched);
    if (expected) {
        ASSERT_EQ(std::basic_string<Unit>(output, count), *expected);
    }
}

TEST(Base64, encodes_bytes_of_every_length) {
    test::Random random;
    for (uint64_t length = 0; length < 300; ++length) {
        const Bytes bytes = random.bytes(length);
        const std::optional text = plainEncode(bytes);
        expectCoded(base64EncodeBlob, bytes, text, text->size() + 1);
        expectCoded(base64Encode, widened(bytes, 0xABCDEF00), text, text->size() + 1);
    }
}

// Both decoders against the plain one.
void expectDecoded(const Text& text) {
    const auto bytes = plainDecode(text);
    const uint64_t room = text.size() / 4 * 3 + 5;
    expectCoded(base64DecodeBlob, text, bytes, room);
    expectCoded(base64Decode, text, bytes ? std::optional{widened(*bytes)} : std::nullopt, room);
}

TEST(Base64, decodes_what_it_should_and_nothing_else) {
    const std::pair<Text, const char*> table[] = {
        {U"", ""},          {U"TWFu", "Man"},    {U"TWE=", "Ma"},        {U"TQ==", "M"},
        {U"TQ=x", "M"},     {U"TW=u", "M"},      {U"\x154WFu", "Man"},   {U"TWF", nullptr},
        {U"T", nullptr},    {U"T=Wu", nullptr},  {U"=WFu", nullptr},     {U"TWE=TWFu", nullptr},
        {U"TW u", nullptr}, {U"TWF\n", nullptr}, {U"TQ==TWFu", nullptr}, {U"TWFuTWF", nullptr},
        {U"TW-_", nullptr},
    };
    for (const auto& [text, bytes] : table) {
        const std::string_view expected = bytes ? bytes : "";
        EXPECT_EQ(plainDecode(text),
                  bytes ? std::optional{Bytes(expected.begin(), expected.end())} : std::nullopt);
        expectDecoded(text);
    }
    test::Random random;
    for (uint64_t length = 0; length < 20; ++length) {
        const Text text = plainEncode(random.bytes(length));
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

using Asked = std::pair<vx::Status, uint64_t>;

// With a pool that has no memory: the status, and the bytes that were asked for.
template <class Unit, class Count, class Input, class InputCount>
Asked ask(Codec<Unit, Count, Input, InputCount> codec, const Input* input, InputCount inputCount) {
    test::TestPool pool;
    pool.failAt = 1;
    Unit* output = nullptr;
    Count count = untouched;
    const vx::Status status = codec(&pool, input, inputCount, &output, &count);
    EXPECT_FALSE(output);
    EXPECT_EQ(count, status == vx::VX_NO_MEMORY ? untouched : 0);
    return {status, pool.sizes.empty() ? 0 : pool.sizes[0]};
}

TEST(Base64, counts_that_cannot_be_are_refused_before_anything_is_allocated) {
    const Asked refused = {vx::VX_INVALID_ARGUMENT, 0};
    EXPECT_EQ(ask(base64Encode, U"", -1), refused);
    EXPECT_EQ(ask(base64Encode, U"", 402653182), refused);
    const uint8_t* none = nullptr;
    EXPECT_EQ(ask(base64EncodeBlob, none, 402653182ul), refused);
    EXPECT_EQ(ask(base64EncodeBlob, none, UINT64_MAX), refused);
    EXPECT_EQ(ask(base64Decode, U"", -4), refused);
    EXPECT_EQ(ask(base64Decode, U"", 715827880), refused);
    EXPECT_EQ(ask(base64DecodeBlob, U"", -1), refused);

    const Asked largest = {vx::VX_NO_MEMORY, 2147483636};
    EXPECT_EQ(ask(base64Encode, U"", 402653181), largest);
    EXPECT_EQ(ask(base64EncodeBlob, none, 402653181ul), largest);
    EXPECT_EQ(ask(base64Decode, U"", 715827875), largest);
    EXPECT_EQ(ask(base64DecodeBlob, U"TQ==", 4), Asked(vx::VX_NO_MEMORY, 8));

    char32_t* text = const_cast<char32_t*>(U"");
    uint32_t count = untouched;
    EXPECT_EQ(base64Encode(nullptr, U"", -1, &text, &count), vx::VX_INVALID_ARGUMENT);
    EXPECT_EQ(count, untouched);
}

}  // namespace
