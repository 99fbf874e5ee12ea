#include "runtime/case.hpp"

#include <gtest/gtest.h>

#include "runtime/kernel.hpp"
#include "tests/runtime/random.hpp"

namespace {

using Text = std::u32string;
using Mapping = void (*)(char32_t*, int64_t);

constexpr Mapping mappings[] = {vxzstup, vxzstlo, vxzstmin, vxzstmax};

int64_t countOf(const Text& text) {
    return static_cast<int64_t>(text.size());
}

Text mapped(Mapping mapping, Text text) {
    mapping(text.data(), countOf(text));
    return text;
}

// A kernel for the length of a case, without a case service unless the case gives it one.
struct Case : testing::Test {
    Case() { Exported_VXHandle = &kernel; }
    ~Case() override { Exported_VXHandle = nullptr; }
    vx::Kernel kernel{};
};

// The numbers come from a script of its own over the run lists and over Unicode's data; they are
// here to say that not a single character has moved: how many change, and the FNV-1a over the
// results for U+0000 to U+10FFFF as 4 bytes each.
TEST_F(Case, every_code_point_maps_as_it_always_did) {
    const std::pair<uint32_t, uint64_t> expected[] = {{671, 0x432e4a287cf6a606},
                                                      {706, 0xa48e734a0bdd006d},
                                                      {1134, 0x85f88761797571b5},
                                                      {1133, 0x7820f8c3d04883ac}};
    Text all;
    for (char32_t c = 0; c < 0x110000; ++c) all += c;
    for (size_t n = 0; n < 4; ++n) {
        const Text result = mapped(mappings[n], all);
        uint32_t changes = 0;
        uint64_t fingerprint = 0xcbf29ce484222325;
        for (char32_t c = 0; c < all.size(); ++c) {
            changes += result[c] != c;
            for (uint32_t bit = 0; bit < 32; bit += 8)
                fingerprint = (fingerprint ^ (result[c] >> bit & 0xFF)) * 0x100000001b3;
        }
        EXPECT_EQ(std::pair(changes, fingerprint), expected[n]) << n;
        // Units above Unicode map to themselves; no count changes nothing.
        const Text above = U"\x10000\x110061\x80000061\xFFFFFFFF";
        EXPECT_EQ(mapped(mappings[n], above), above);
        Text untouched = U"aB";
        for (const int64_t count : {0, -1}) mappings[n](untouched.data(), count);
        EXPECT_EQ(untouched, U"aB");
    }
}

TEST_F(Case, telling_characters) {
    EXPECT_EQ(mapped(vxzstup, U"az\x17F\xFF\x1C6\x258\x1F78"), U"AZS\x178\x1C4\x18E\x1FF8");
    EXPECT_EQ(mapped(vxzstup, U"\x131\xB5\x3C2\xDF\x10428"), U"\x131\xB5\x3C2\xDF\x10428");
    EXPECT_EQ(mapped(vxzstlo, U"AZ\xC0\x18E\x1C4\x1FF9\x10A0"), U"az\xE0\x258\x1C6\x1F79\x10D0");
    EXPECT_EQ(mapped(vxzstlo, U"\x130\x212A\x212B\x2126\x10400"),
              U"\x130\x212A\x212B\x2126\x10400");
    EXPECT_EQ(mapped(vxzstmin, U"\x131k\x1FBE\xAB70\x1E9E"), U"IK\x345\x13A0\xDF");
    EXPECT_EQ(mapped(vxzstmax, U"SKI\xC5\xDF\x1E9E"), U"\x17F\x212A\x131\x212B\xDF\x1E9E");
}

// Adds or takes away 1, and notes what it was asked.
struct NotingService : vx::CaseService {
    std::string asked;

    int64_t note(const char* direction, int64_t character, vx::Word flag) {
        asked += direction + std::to_string(character) + "/" + std::to_string(flag) + " ";
        return character;
    }
    NotingService() : vx::CaseService{} {
        UpperCase = [](vx::CaseService* self, int64_t c, vx::Word flag) {
            return static_cast<NotingService*>(self)->note("U", c, flag) + 1;
        };
        LowerCase = [](vx::CaseService* self, int64_t c, vx::Word flag) {
            return (int64_t{1} << 40) + static_cast<NotingService*>(self)->note("L", c, flag) - 1;
        };
    }
};

TEST_F(Case, the_service_of_the_kernel_maps_from_U0080_up) {
    NotingService service;
    kernel.caseService = &service;
    EXPECT_EQ(mapped(vxzstup, U"a\x7F\x80\x10FFFF"), U"A\x7F\x81\x110000");
    EXPECT_EQ(mapped(vxzstlo, U"Z\x7F\x80"), U"z\x7F\x7F") << "the low 32 bits are stored";
    EXPECT_EQ(mapped(vxzstup, U"\xFFFFFFF0"), U"\xFFFFFFF1");
    EXPECT_EQ(mapped(vxzstmin, U"\xE9"), U"\xC9");
    EXPECT_EQ(vxzseqn(U"\xE9", 1, U"\xC9", 1), 1);
    EXPECT_EQ(service.asked, "U128/1 U1114111/1 L128/1 U-16/1 ")
        << "comparing and folding use the tables alone";
    kernel.caseService = nullptr;
    EXPECT_EQ(mapped(vxzstup, U"\xE9"), U"\xC9") << "the service is looked for at each call";
}

TEST_F(Case, trailing_blanks_are_trimmed_and_nothing_else) {
    const std::pair<Text, int64_t> table[] = {{U"ab  ", 2},  {U"    ", 0}, {U"", 0},
                                              {U"ab\t", 3},  {U" a", 2},   {U"a b ", 3},
                                              {U"ab\xA0", 3}};
    for (const auto& [text, count] : table) EXPECT_EQ(vxzstrp(text.data(), countOf(text)), count);
}

int32_t equal(const Text& first, const Text& second) {
    return vxzseqn(first.data(), countOf(first), second.data(), countOf(second));
}

int32_t compare(const Text& first, const Text& second) {
    return vxzsncmp(first.data(), countOf(first), second.data(), countOf(second));
}

TEST_F(Case, comparisons) {
    struct {
        Text first, second;
        int32_t equal, order;
    } const table[] = {
        {U"ABCDE", U"abcde", 1, -1}, {U"abcd", U"abcde", 0, -2}, {U"abc", U"abc", 1, 0},
        {U"abc", U"abc  ", 0, 0},    {U"abc  ", U"abc", 0, 0},   {U"ABC  ", U"abc", 0, -1},
        {U"abc", U"ABC", 1, 1},      {U"aBc", U"AbC", 1, 1},     {U"abc", U"abd", 0, -2},
        {U"abd", U"ABC", 0, 2},      {U"ab", U"abc", 0, -2},     {U"ab\t", U"ab", 0, 2},
        {U"ab", U"ab\t", 0, -2},     {U"", U"", 1, 0},           {U"", U"  ", 0, 0},
        {U"\x1C4", U"\x1C6", 1, -1}, {U"\x212A", U"k", 0, 2},    {U"\xFFFFFFFF", U"a", 0, -2},
    };
    for (const auto& row : table) {
        EXPECT_EQ(equal(row.first, row.second), row.equal);
        EXPECT_EQ(compare(row.first, row.second), row.order);
    }
    EXPECT_EQ(vxzsncmp(U"x", -1, U"   ", 3), 0) << "a count below 0 is none";
}

// Pads, lowers and compares without a thought for speed.
int32_t plainCompare(Text first, Text second) {
    const size_t shorter = std::min(first.size(), second.size());
    const auto tail = [=](const Text& text) {
        return text.find_first_not_of(U' ', shorter) != text.npos;
    };
    const auto order = [=](const Text& a, const Text& b) {
        return a.compare(0, shorter, b, 0, shorter);
    };
    const auto sign = [](int value) { return (value > 0) - (value < 0); };
    if (const int lowered = sign(order(mapped(vxzstlo, first), mapped(vxzstlo, second))))
        return 2 * lowered;
    if (tail(first) || tail(second)) return tail(first) ? 2 : -2;
    return sign(order(first, second));
}

TEST_F(Case, comparisons_agree_with_a_plain_model) {
    const Text units = U"aAbB  \t\x1C4\x1C5\x1C6\x17F\xE9\xC9\x10400";
    test::Random random;
    for (int round = 0; round < 20000; ++round) {
        const Text first = random.text(random.below(6), units);
        const Text second = random.text(random.below(6), units);
        ASSERT_EQ(compare(first, second), plainCompare(first, second));
        ASSERT_EQ(equal(first, second), mapped(vxzstlo, first) == mapped(vxzstlo, second));
    }
}

}  // namespace
