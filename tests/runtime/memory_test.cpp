#include "runtime/memory.hpp"

#include <gtest/gtest.h>

#include <limits>

#include "tests/runtime/random.hpp"
#include "tests/support/test_pool.hpp"

namespace {

using test::Guarded;

// As an index that a scan returns.
int64_t index(size_t position) {
    return static_cast<int64_t>(position);
}

TEST(Memory, scans_tests_and_comparisons_agree_with_plain_ones) {
    test::Random random;
    for (int round = 0; round < 4000; ++round) {
        const uint64_t count = random.below(200);
        const auto bytes = random.monotonous<uint8_t>(count, 0x41);
        const auto otherBytes = random.monotonous<uint8_t>(count, 0x41);
        const auto units = random.monotonous<char32_t>(count, 0x41);
        const auto otherUnits = random.monotonous<char32_t>(count, 0x41);
        const Guarded<uint8_t> b{std::span{bytes}}, b2{std::span{otherBytes}};
        const Guarded<char32_t> u{std::span{units}}, u2{std::span{otherUnits}};
        const auto sought = static_cast<uint8_t>(round % 2 ? 0x41 : random.below(256));
        ASSERT_EQ(nxMemScan(b.data(), count, sought), index(bytes.find(sought)));
        ASSERT_EQ(nxMemNScan(b.data(), count, 0x41), index(bytes.find_first_not_of(0x41)));
        ASSERT_EQ(nxMemTNScan(u.data(), count, 0x41), index(units.find_first_not_of(0x41)));
        ASSERT_EQ(nxMemNot(0x41, b.data(), count), bytes.find_first_not_of(0x41) == bytes.npos);
        ASSERT_EQ(nxMemTNot(0x41, u.data(), count), units.find_first_not_of(0x41) == units.npos);
        ASSERT_EQ(nxMemCmp(b.data(), b2.data(), count),
                  (bytes > otherBytes) - (bytes < otherBytes));
        int32_t expected = 0;  // the sign of the wrapping difference
        for (uint64_t i = 0; i < count && expected == 0; ++i)
            if (units[i] != otherUnits[i]) expected = (units[i] - otherUnits[i]) >> 31 ? -1 : 1;
        ASSERT_EQ(nxWMemCmp(u.data(), u2.data(), count), expected);
    }
    EXPECT_EQ(nxMemScan(nullptr, 4, 0), -1);
    EXPECT_EQ(nxMemNScan(nullptr, 4, 0), -1);
    EXPECT_EQ(nxMemTNScan(nullptr, 4, 0), -1);
}

TEST(Memory, fills_stop_at_the_count) {
    std::string bytes(9, '\1');
    nxMemSet(bytes.data(), 0xFE, 8);
    EXPECT_EQ(bytes, std::string(8, '\xFE') + '\1');
    for (uint64_t count = 0; count < 100; ++count) {
        std::u32string units(count + 1, U'\1');
        nxMemTSet(units.data(), 0xFFFFFFFE, count);
        ASSERT_EQ(units, std::u32string(count, U'\xFFFFFFFE') + U'\1');
    }
}

// Both copies within one buffer, by every shift and around the size from which a bulk copy is used.
TEST(Memory, copy_runs_from_front_to_back_and_safe_copy_as_the_source_stood) {
    const auto before = test::Random{}.bytes(4 * 257 + 4);
    for (const uint64_t count : {0u, 1u, 2u, 10u, 16u, 33u, 95u, 96u, 97u, 98u, 130u, 257u}) {
        for (uint64_t from = 0; from <= 2 * count + 2; from += 1 + count / 40) {
            for (const uint64_t to : {uint64_t{0}, count, 2 * count + 2}) {
                const auto trace = testing::Message() << count << " from " << from << " to " << to;
                auto copied = before, expected = before;
                ASSERT_EQ(nxMemCpy(&copied[from], &copied[to], count), &copied[to]) << trace;
                for (uint64_t i = 0; i < count; ++i) expected[to + i] = expected[from + i];
                ASSERT_EQ(copied, expected) << trace;
                copied = expected = before;
                nxMemSCpy(&copied[from], &copied[to], count);
                ASSERT_EQ(copied, expected.replace(to, count, before, from, count)) << trace;
            }
        }
    }
}

TEST(Memory, duplicate_is_a_plain_block_of_the_pool) {
    test::TestPool pool;
    auto* copy = static_cast<char*>(nxMemDup("abcde", 4, &pool));
    EXPECT_EQ(std::string(copy, 4), "abcd");
    EXPECT_EQ(pool.live.at(copy).bytes().size(), 4u);
    EXPECT_FALSE(nxMemDup(nullptr, 4, &pool));
    EXPECT_FALSE(nxMemDup("abcd", 4, nullptr));
    EXPECT_EQ(pool.asked, 1);
    pool.failAt = 2;
    EXPECT_FALSE(nxMemDup("abcd", 4, &pool));
}

TEST(Memory, a_nan_anywhere_is_a_missing_value) {
    constexpr double infinite = std::numeric_limits<double>::infinity();
    for (uint64_t count = 0; count < 40; ++count) {
        std::vector<double> values(count, -infinite);
        ASSERT_EQ(nxMissArray(Guarded<double>{std::span{values}}.data(), count), 0);
        for (double& value : values) {
            value = -std::numeric_limits<double>::quiet_NaN();
            ASSERT_EQ(nxMissArray(values.data(), count), 1);
            value = 0;
        }
    }
    EXPECT_EQ(nxUnsup(), 0x803FC004u);
}

}  // namespace
