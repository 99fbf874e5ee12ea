#include "runtime/case.hpp"

#include <gtest/gtest.h>

#include <cstdlib>

#include "runtime/kernel.hpp"

namespace {

using Text = std::u32string;
using Mapping = void (*)(char32_t*, int64_t);

int64_t countOf(const Text& text) {
    return static_cast<int64_t>(text.size());
}

Text mapped(Mapping mapping, Text text) {
    mapping(text.data(), countOf(text));
    return text;
}

// A kernel for the length of a case. The case service, which it has only when told so, adds or
// takes away 1 and notes what it was asked.
struct Case : testing::Test, vx::CaseService {
    Case() : vx::CaseService{} {
        Exported_VXHandle = &kernel;
        UpperCase = [](vx::CaseService* self, int64_t c, vx::Word flag) {
            return static_cast<Case*>(self)->note('U', c, flag) + 1;
        };
        LowerCase = [](vx::CaseService* self, int64_t c, vx::Word flag) {
            return (int64_t{1} << 40) + static_cast<Case*>(self)->note('L', c, flag) - 1;
        };
    }
    ~Case() override { Exported_VXHandle = nullptr; }
    int64_t note(char direction, int64_t character, vx::Word flag) {
        asked += direction + std::to_string(character) + "/" + std::to_string(flag) + " ";
        return character;
    }

    vx::Kernel kernel{};
    std::string asked;
};

// The FNV-1a over what U+0000 to U+10FFFF become, as 4 bytes each, with the tables as they were
// first generated from Unicode's data: not a single character has moved.
TEST_F(Case, every_code_point_maps_as_it_always_did) {
    const std::pair<Mapping, uint64_t> rows[] = {{vxzstup, 0x432e4a287cf6a606},
                                                 {vxzstlo, 0xa48e734a0bdd006d},
                                                 {vxzstmin, 0x85f88761797571b5},
                                                 {vxzstmax, 0x7820f8c3d04883ac}};
    Text all;
    for (char32_t c = 0; c < 0x110000; ++c) all += c;
    for (const auto& [mapping, expected] : rows) {
        uint64_t fingerprint = 0xcbf29ce484222325;
        for (const char32_t c : mapped(mapping, all))
            for (uint32_t bit = 0; bit < 32; bit += 8)
                fingerprint = (fingerprint ^ (c >> bit & 0xFF)) * 0x100000001b3;
        EXPECT_EQ(fingerprint, expected);
    }
}

TEST_F(Case, texts_that_are_ascii_in_part_and_units_beyond_unicode) {
    EXPECT_EQ(mapped(vxzstup, U"az\x17F\xFF\x1C6\x258\x1F78z"), U"AZS\x178\x1C4\x18E\x1FF8Z");
    EXPECT_EQ(mapped(vxzstlo, U"\x110041\x80000041\xFFFFFFFFZZZZZ\x130Z"),
              U"\x110041\x80000041\xFFFFFFFFzzzzz\x130z");
    EXPECT_EQ(mapped(vxzstmin, U"kkk\x131k\x1FBE\xAB70\x1E9E"), U"KKKIK\x345\x13A0\xDF");
    EXPECT_EQ(mapped(vxzstmax, U"SKI\xC5\xDF\x1E9E-S\xFFFFFFFF"),
              U"\x17F\x212A\x131\x212B\xDF\x1E9E-\x17F\xFFFFFFFF");
    char32_t untouched = U'a';
    for (const Mapping mapping : {vxzstup, vxzstmin}) mapping(&untouched, -1);
    EXPECT_EQ(untouched, U'a');
}

TEST_F(Case, the_service_of_the_kernel_maps_from_U0080_up) {
    kernel.caseService = this;
    EXPECT_EQ(mapped(vxzstup, U"a\x7F\x80\x10FFFF\xFFFFFFF0"), U"A\x7F\x81\x110000\xFFFFFFF1");
    EXPECT_EQ(mapped(vxzstlo, U"Z\x7F\x80"), U"z\x7F\x7F") << "the low 32 bits are stored";
    EXPECT_EQ(mapped(vxzstmin, U"\xE9"), U"\xC9");
    EXPECT_EQ(vxzseqn(U"\xE9", 1, U"\xC9", 1), 1);
    EXPECT_EQ(asked, "U128/1 U1114111/1 U-16/1 L128/1 ") << "the others use the tables alone";
    EXPECT_EQ(mapped(vxzstup, U"wxyz\x80xyz\x81"), U"WXYZ\x81XYZ\x82") << "more than a stride";
    kernel.caseService = nullptr;
    EXPECT_EQ(mapped(vxzstup, U"\xE9"), U"\xC9") << "it is looked for at each call";
    Exported_VXHandle = nullptr;
    EXPECT_EQ(mapped(vxzstlo, U"\xC9"), U"\xE9") << "as is the kernel";
}

TEST_F(Case, trailing_blanks_are_trimmed_and_nothing_else) {
    EXPECT_EQ(vxzstrp(U" a b  ", 6), 4);
    EXPECT_EQ(vxzstrp(U"  ", 2), 0);
    EXPECT_EQ(vxzstrp(U"ab\t\xA0", 4), 4);
    EXPECT_EQ(vxzstrp(U"a", -1), 0);
}

TEST_F(Case, comparisons) {
    const struct {
        Text first, second;
        int32_t equal, order;
    } rows[] = {
        {U"ABCDE", U"abcde", 1, -1}, {U"abcd", U"abcde", 0, -2}, {U"abc", U"abc", 1, 0},
        {U"abc", U"abc  ", 0, 0},    {U"ABC  ", U"abc", 0, -1},  {U"aB", U"Ab", 1, 1},
        {U"abc", U"abd", 0, -2},     {U"abd", U"ABC", 0, 2},     {U"ab\t", U"ab", 0, 2},
        {U"ab", U"ab\t", 0, -2},     {U"", U"", 1, 0},           {U"", U"  ", 0, 0},
        {U"\x1C4", U"\x1C6", 1, -1}, {U"\x212A", U"k", 0, 2},    {U"\xFFFFFFFF", U"a", 0, -2},
        {U"\x17F", U"s", 0, 2},
    };
    for (const auto& [first, second, equal, order] : rows) {
        EXPECT_EQ(vxzseqn(first.data(), countOf(first), second.data(), countOf(second)), equal);
        EXPECT_EQ(vxzsncmp(first.data(), countOf(first), second.data(), countOf(second)), order);
    }
    EXPECT_EQ(vxzsncmp(U"x", -1, U"   ", 3), 0) << "a count below 0 is none";
}

TEST(CaseData, the_script_beside_it_still_prints_it) {
    if (std::system("perl -MUnicode::UCD -e 1 2>/dev/null") != 0)
        GTEST_SKIP() << "perl's Unicode data is not installed";
    EXPECT_EQ(std::system("cd '" SOURCE_DIR "/runtime' && "
                          "perl unicode_9_case.pl | diff unicode_9_case.inc -"),
              0);
}

}  // namespace
