#include "runtime/base64.hpp"

#include <gtest/gtest.h>

#include <optional>

#include "tests/support/test_pool.hpp"

namespace {

using Bytes = std::basic_string<uint8_t>;
using Text = std::u32string;

const Text alphabet = U"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr uint64_t untouched = 777;

template <class Unit, class Count, class Input, class InputCount>
using Codec = vx::Status (*)(vx::Pool*, const Input*, InputCount, Unit**, Count*);

// What a codec must come to: with a block of the pool of so many units, where a terminator belongs
// to the output, and into a buffer that has room for the output alone.
template <class Unit, class Count, class Input, class InputCount>
void expectCoded(Codec<Unit, Count, Input, InputCount> codec, const std::basic_string<Input>& input,
                 const std::optional<std::basic_string<Unit>>& expected, uint64_t blockUnits) {
    const test::Guarded<Input> from{std::span{input}};
    for (const bool allocates : {true, false}) {
        test::TestPool pool;
        const test::GuardedBlock room{(expected ? expected->size() : blockUnits) * sizeof(Unit)};
        Unit* const given = allocates ? nullptr : static_cast<Unit*>(room.data());
        Unit* output = given;
        Count count = untouched;
        ASSERT_EQ(codec(&pool, from.data(), static_cast<InputCount>(input.size()), &output, &count),
                  expected ? vx::VX_SUCCESS : vx::VX_INVALID_ARGUMENT);
        ASSERT_EQ(pool.sizes, std::vector<uint64_t>(allocates, blockUnits * sizeof(Unit)));
        if (expected) {
            ASSERT_EQ(std::basic_string<Unit>(output, count), *expected);
            ASSERT_TRUE(!allocates || output[count] == 0) << "not terminated";
        } else {
            ASSERT_EQ(output, given);
            ASSERT_EQ(count, allocates ? 0 : untouched);
            ASSERT_TRUE(pool.live.empty());
            for (const auto& block : pool.givenBack)
                ASSERT_EQ(block, std::vector<uint8_t>(block.size())) << "not wiped";
        }
    }
}

// The bytes as units with something above the 8 bits that count.
Text widened(const Bytes& bytes, char32_t above = 0) {
    Text units;
    for (const uint8_t byte : bytes) units += above | byte;
    return units;
}

void expectEncoded(const Bytes& bytes, const Text& text) {
    expectCoded(base64EncodeBlob, bytes, std::optional{text}, text.size() + 1);
    expectCoded(base64Encode, widened(bytes, 0xABCDEF00), std::optional{text}, text.size() + 1);
}

// No bytes: the text is none.
void expectDecoded(const Text& text, const std::optional<Bytes>& bytes) {
    const uint64_t room = text.size() / 4 * 3 + 5;
    expectCoded(base64DecodeBlob, text, bytes, room);
    expectCoded(base64Decode, text, bytes ? std::optional{widened(*bytes)} : std::nullopt, room);
}

TEST(Base64, bytes_of_every_length_and_back) {
    for (Bytes bytes; bytes.size() < 300; bytes += static_cast<uint8_t>(151 * bytes.size())) {
        Text text((bytes.size() + 2) / 3 * 4, U'?');
        char32_t* output = text.data();
        uint32_t count = 0;
        base64EncodeBlob(nullptr, bytes.data(), bytes.size(), &output, &count);
        expectEncoded(bytes, text);
        expectDecoded(text, bytes);
        for (uint64_t cut = 1; cut < 4 && text.size(); ++cut) expectDecoded(text.substr(cut), {});
    }
}

TEST(Base64, what_padding_and_other_characters_mean) {
    const Bytes man = {'M', 'a', 'n'}, ma = {'M', 'a'}, m = {'M'};
    const std::pair<const char32_t*, std::optional<Bytes>> rows[] = {
        {U"TWFu", man},    {U"TWE=", ma},      {U"TQ==", m},      {U"TQ=x", m},
        {U"TW=u", m},      {U"\x154WFu", man}, {U"T=Wu", {}},     {U"=WFu", {}},
        {U"TWE=TWFu", {}}, {U"TQ==TWFu", {}},  {U"TWFuT=Wu", {}}, {U"TWFuTWF?", {}}};
    for (const auto& [text, bytes] : rows) expectDecoded(text, bytes);
    expectEncoded(ma, U"TWE=");
    expectEncoded(m, U"TQ==");
    for (char32_t c = 0; c < 256; ++c) {
        for (uint32_t place = 0; place < 4; ++place) {
            const auto value = static_cast<uint32_t>(alphabet.find(c));
            const uint32_t shift = 18 - 6 * place;
            const uint32_t bits = (0x4D616E & ~(63u << shift)) | value << shift;
            Text text = U"TWFu";
            text[place] = c;
            if (value < 64)
                expectDecoded(text, Bytes{uint8_t(bits >> 16), uint8_t(bits >> 8), uint8_t(bits)});
            else if (c != U'=')
                expectDecoded(text, {});
        }
    }
}

// With a pool that has no memory: what is asked of it, 0 when the count is refused before.
template <class Unit, class Count, class Input, class InputCount>
void expectAsked(Codec<Unit, Count, Input, InputCount> codec, InputCount inputCount,
                 uint64_t bytes) {
    test::TestPool pool;
    pool.failAt = 1;
    Unit* output = nullptr;
    Count count = untouched;
    EXPECT_EQ(codec(&pool, nullptr, inputCount, &output, &count),
              bytes ? vx::VX_NO_MEMORY : vx::VX_INVALID_ARGUMENT);
    EXPECT_EQ(count, bytes ? untouched : 0);
    EXPECT_FALSE(output);
    EXPECT_EQ(pool.sizes, std::vector<uint64_t>(bytes ? 1 : 0, bytes));
}

TEST(Base64, counts_that_cannot_be_are_refused_before_anything_is_allocated) {
    expectAsked(base64Encode, -1, 0);
    expectAsked(base64Encode, 402653181, 2147483636);
    expectAsked(base64Encode, 402653182, 0);
    expectAsked(base64EncodeBlob, 402653181ul, 2147483636);
    expectAsked(base64EncodeBlob, UINT64_MAX, 0);
    expectAsked(base64Decode, -4, 0);
    expectAsked(base64Decode, 715827875, 2147483636);
    expectAsked(base64Decode, 715827880, 0);
    expectAsked(base64DecodeBlob, -1, 0);
    expectAsked(base64DecodeBlob, INT32_MAX, 1610612738);
}

}  // namespace
