#include "runtime/text.hpp"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "tests/support/guarded_block.hpp"

namespace {

using test::Guarded;

// Texts of every length, the terminator being the last readable unit: measured from every unit on,
// and copied into no more than they need.
template <class Unit>
void expectTexts(uint64_t (*length)(const Unit*), void (*copy)(const Unit*, Unit*), Unit filling) {
    for (uint64_t units = 0; units < 150; ++units) {
        const auto text = std::basic_string<Unit>(units, filling) + Unit{0};
        const Guarded<Unit> from{std::span{text}};
        for (uint64_t start = 0; start <= units; ++start)
            ASSERT_EQ(length(from.data() + start), units - start);
        const std::basic_string<Unit> other(units + 1, Unit{7});
        const Guarded<Unit> to{std::span{other}};
        copy(from.data(), to.data());
        ASSERT_EQ(std::basic_string<Unit>(to.data(), units + 1), text);
    }
    const Unit zeros[] = {0, 0, 0, 1, 2, 0};
    EXPECT_EQ(length(zeros + 3), 2u) << "zeros before the text do not end it";
    EXPECT_EQ(length(nullptr), 0u);
    Unit buffer[2] = {7, 7};
    copy(nullptr, buffer);
    EXPECT_EQ(buffer[0], Unit{0});
    EXPECT_EQ(buffer[1], Unit{7});
    copy(buffer, nullptr);
}

TEST(Text, lengths_and_copies) {
    expectTexts<char>(nxStrLen, nxStrCpy, '\x80');
    expectTexts<char32_t>(nxStrTLen, nxStrTCpy, U'\x1F600');
}

// A text whose bytes would look like another one's from an address that is aligned.
TEST(Text, wide_units_lie_at_any_address) {
    const std::u32string text = U"\x1000000\x100\x100\x10000\x1";
    const uint64_t bytes = (text.size() + 1) * sizeof(char32_t);
    for (uint64_t shift = 0; shift < sizeof(char32_t); ++shift) {
        const test::GuardedBlock from{bytes + 4 - shift}, to{bytes + 4 - shift};
        const auto* units = reinterpret_cast<char32_t*>(from.bytes().data());
        std::memcpy(from.data(), text.c_str(), bytes);
        EXPECT_EQ(nxStrTLen(units), text.size());
        nxStrTCpy(units, reinterpret_cast<char32_t*>(to.bytes().data()));
        EXPECT_EQ(std::memcmp(to.data(), text.c_str(), bytes), 0);
    }
}

TEST(Text, case_of_ascii_letters_alone_changes) {
    std::string all;
    for (int byte = 0; byte < 256; ++byte) all += static_cast<char>(byte);
    for (int64_t count = 0; count <= 256; ++count) {
        const auto upTo = [=](char first) {  // how many of the letters are within the count
            return static_cast<uint64_t>(std::clamp<int64_t>(count - first, 0, 26));
        };
        std::string upper = all, lower = all;
        nxStrUp(upper.data(), static_cast<uint64_t>(count));
        nxStrLow(lower.data(), static_cast<uint64_t>(count));
        ASSERT_EQ(upper, std::string(all).replace('a', upTo('a'), all, 'A', upTo('a')));
        ASSERT_EQ(lower, std::string(all).replace('A', upTo('A'), all, 'a', upTo('A')));
    }
}

}  // namespace
