#include "runtime/text.hpp"

#include <gtest/gtest.h>

#include <cctype>
#include <string>

#include "tests/support/guarded_block.hpp"

namespace {

using test::Guarded;

// Texts of every length, the terminator being the last readable unit, measured from every unit on.
template <class Unit>
void expectLengths(uint64_t (*length)(const Unit*), Unit filling) {
    for (uint64_t units = 0; units < 80; ++units) {
        const std::basic_string<Unit> text(units, filling);
        const Guarded<Unit> guarded{std::span{text.c_str(), units + 1}};
        for (uint64_t from = 0; from <= units; ++from)
            ASSERT_EQ(length(guarded.data() + from), units - from);
    }
    EXPECT_EQ(length(nullptr), 0u);
}

TEST(Text, length_is_found_at_every_alignment) {
    expectLengths<char>(nxStrLen, '\x80');
    expectLengths<char32_t>(nxStrTLen, U'\x10000');
}

TEST(Text, zero_units_before_the_text_do_not_end_it) {
    const char bytes[] = "\0\0\0abc";
    EXPECT_EQ(nxStrLen(bytes + 3), 3u);
    const char32_t units[] = U"\0abc";
    EXPECT_EQ(nxStrTLen(units + 1), 3u);
}

template <class Unit>
void expectCopies(void (*copy)(const Unit*, Unit*), const std::basic_string<Unit>& filling) {
    for (uint64_t units = 0; units < 120; ++units) {
        const auto source = filling.substr(0, units);
        const Guarded<Unit> from{std::span{source.c_str(), units + 1}};
        const std::basic_string<Unit> blank(units + 1, Unit{7});
        const Guarded<Unit> to{std::span{blank.data(), units + 1}};
        copy(from.data(), to.data());
        ASSERT_EQ(std::basic_string<Unit>(to.data(), units + 1), source + Unit{0});
    }
    Unit buffer[2] = {7, 7};
    copy(nullptr, buffer);
    EXPECT_EQ(buffer[0], Unit{0});
    EXPECT_EQ(buffer[1], Unit{7});
    copy(filling.c_str(), nullptr);
}

TEST(Text, copies_take_the_terminator_along_and_null_for_an_empty_text) {
    expectCopies<char>(nxStrCpy, std::string(120, 'x'));
    expectCopies<char32_t>(nxStrTCpy, std::u32string(120, U'\x1F600'));
}

TEST(Text, case_of_ascii_letters_alone_changes) {
    std::string all;
    for (int byte = 0; byte < 256; ++byte) all += static_cast<char>(byte);
    for (uint64_t offset = 0; offset < all.size(); ++offset) {
        const std::string text = all.substr(offset) + all.substr(0, offset);
        std::string upper = text;
        std::string lower = text;
        nxStrUp(upper.data(), upper.size() - 1);
        nxStrLow(lower.data(), lower.size() - 1);
        for (uint64_t i = 0; i + 1 < text.size(); ++i) {
            const char c = text[i];
            ASSERT_EQ(upper[i], c >= 'a' && c <= 'z' ? c - 32 : c);
            ASSERT_EQ(lower[i], c >= 'A' && c <= 'Z' ? c + 32 : c);
        }
        ASSERT_EQ(upper.back(), text.back()) << "a unit behind the count changed";
        ASSERT_EQ(lower.back(), text.back());
    }
}

}  // namespace
