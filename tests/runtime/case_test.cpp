#include "runtime/case.hpp"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

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

char32_t mapped(Mapping mapping, char32_t c) {
    mapping(&c, 1);
    return c;
}

// A kernel for the length of a case, without a case service unless the case gives it one.
class Case : public testing::Test {
protected:
    void SetUp() override { Exported_VXHandle = &kernel; }
    void TearDown() override { Exported_VXHandle = nullptr; }

    vx::Kernel kernel{};
};

struct Whole {
    const char* name;
    Mapping mapping;
    uint32_t changes;
    uint64_t fingerprint;  // FNV-1a over the results for U+0000 to U+10FFFF as 4 bytes each
};

// The numbers come from a script of its own over the run lists and over Unicode's data; they are
// here to say that not a single character has moved.
TEST_F(Case, every_code_point_maps_as_it_always_did) {
    const Whole table[] = {
        {"vxzstup", vxzstup, 671, 0x432e4a287cf6a606},
        {"vxzstlo", vxzstlo, 706, 0xa48e734a0bdd006d},
        {"vxzstmin", vxzstmin, 1134, 0x85f88761797571b5},
        {"vxzstmax", vxzstmax, 1133, 0x7820f8c3d04883ac},
    };
    Text all;
    for (char32_t c = 0; c < 0x110000; ++c) all += c;
    for (const Whole& whole : table) {
        const Text result = mapped(whole.mapping, all);
        uint32_t changes = 0;
        uint64_t fingerprint = 0xcbf29ce484222325;
        for (char32_t c = 0; c < all.size(); ++c) {
            changes += result[c] != c;
            for (uint32_t n = 0; n < 32; n += 8)
                fingerprint = (fingerprint ^ (result[c] >> n & 0xFF)) * 0x100000001b3;
        }
        EXPECT_EQ(changes, whole.changes) << whole.name;
        EXPECT_EQ(fingerprint, whole.fingerprint) << whole.name;
    }
}

TEST_F(Case, telling_characters) {
    struct {
        Mapping mapping;
        Text from, to;
    } const table[] = {
        {vxzstup, U"az\x17F\xFF\x1C6\x258\x1F78", U"AZS\x178\x1C4\x18E\x1FF8"},
        {vxzstup, U"\x131\xB5\x3C2\xDF\x10428", U"\x131\xB5\x3C2\xDF\x10428"},
        {vxzstlo, U"AZ\xC0\x18E\x1C4\x1FF9\x10A0", U"az\xE0\x258\x1C6\x1F79\x10D0"},
        {vxzstlo, U"\x130\x212A\x212B\x2126\x10400", U"\x130\x212A\x212B\x2126\x10400"},
        {vxzstmin, U"\x131k\x1FBE\xAB70\x1E9E", U"IK\x345\x13A0\xDF"},
        {vxzstmax, U"SKI\xC5\xDF\x1E9E", U"\x17F\x212A\x131\x212B\xDF\x1E9E"},
    };
    for (const auto& row : table) EXPECT_EQ(mapped(row.mapping, row.from), row.to);
}

TEST_F(Case, units_above_unicode_map_to_themselves) {
    for (const char32_t unit : {0x10000u, 0x110061u, 0x80000061u, 0xFFFFFFFFu}) {
        for (const Mapping mapping : {vxzstup, vxzstlo, vxzstmin, vxzstmax})
            EXPECT_EQ(mapped(mapping, unit), unit);
    }
}

TEST_F(Case, no_count_changes_nothing) {
    Text text = U"aB";
    for (const int64_t count : {0, -1}) {
        for (const Mapping mapping : {vxzstup, vxzstlo, vxzstmin, vxzstmax})
            mapping(text.data(), count);
    }
    EXPECT_EQ(text, U"aB");
}

// Answers with the character and 1 added, and notes what it was asked.
struct NotingService : vx::CaseService {
    struct Asked {
        char direction;
        int64_t character;
        vx::Word flag;
        bool operator==(const Asked&) const = default;
    };
    std::vector<Asked> asked;

    NotingService() : vx::CaseService{} {
        UpperCase = [](vx::CaseService* self, int64_t c, vx::Word flag) {
            static_cast<NotingService*>(self)->asked.push_back({'U', c, flag});
            return c + 1;
        };
        LowerCase = [](vx::CaseService* self, int64_t c, vx::Word flag) {
            static_cast<NotingService*>(self)->asked.push_back({'L', c, flag});
            return (int64_t{1} << 40) + c - 1;
        };
    }
};

TEST_F(Case, the_service_of_the_kernel_maps_from_U0080_up) {
    NotingService service;
    kernel.caseService = &service;
    EXPECT_EQ(mapped(vxzstup, U"a\x7F\x80\x10FFFF"), U"A\x7F\x81\x110000");
    EXPECT_EQ(mapped(vxzstlo, U"Z\x7F\x80"), U"z\x7F\x7F") << "the low 32 bits are stored";
    EXPECT_EQ(mapped(vxzstup, char32_t{0xFFFFFFF0}), 0xFFFFFFF1u);
    const std::vector<NotingService::Asked> expected = {
        {'U', 0x80, 1}, {'U', 0x10FFFF, 1}, {'L', 0x80, 1}, {'U', -16, 1}};
    EXPECT_EQ(service.asked, expected);

    EXPECT_EQ(mapped(vxzstmin, U"\xE9"), U"\xC9");
    EXPECT_EQ(vxzseqn(U"\xE9", 1, U"\xC9", 1), 1);
    EXPECT_EQ(service.asked.size(), 4u) << "comparing and folding use the tables alone";
    kernel.caseService = nullptr;
    EXPECT_EQ(mapped(vxzstup, U"\xE9"), U"\xC9") << "the service is looked for at each call";
}

TEST_F(Case, trailing_blanks_are_trimmed_and_nothing_else) {
    struct {
        Text text;
        int64_t count;
    } const table[] = {{U"ab  ", 2}, {U"    ", 0}, {U"", 0},      {U"ab\t", 3},
                       {U" a", 2},   {U"a b ", 3}, {U"ab\xA0", 3}};
    for (const auto& row : table) EXPECT_EQ(vxzstrp(row.text.data(), countOf(row.text)), row.count);
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
    const auto length = std::max(first.size(), second.size());
    const auto shorter = std::min(first.size(), second.size());
    for (std::size_t i = 0; i < shorter; ++i) {
        const char32_t a = mapped(vxzstlo, first[i]);
        const char32_t b = mapped(vxzstlo, second[i]);
        if (a != b) return a < b ? -2 : 2;
    }
    const bool firstLonger = first.size() == length;
    const Text& longer = firstLonger ? first : second;
    if (longer.find_first_not_of(U' ', shorter) != Text::npos) return firstLonger ? 2 : -2;
    for (std::size_t i = 0; i < shorter; ++i) {
        if (first[i] != second[i]) return first[i] < second[i] ? -1 : 1;
    }
    return 0;
}

TEST_F(Case, comparisons_agree_with_a_plain_model) {
    const Text units = U"aAbB  \t\x1C4\x1C5\x1C6\x17F\xE9\xC9\x10400";
    std::mt19937 random{3};
    const auto text = [&] {
        Text made;
        for (auto n = random() % 6; n-- > 0;) made += units[random() % units.size()];
        return made;
    };
    for (int round = 0; round < 20000; ++round) {
        const Text first = text();
        const Text second = text();
        ASSERT_EQ(compare(first, second), plainCompare(first, second));
        ASSERT_EQ(equal(first, second), mapped(vxzstlo, first) == mapped(vxzstlo, second));
    }
}

}  // namespace
