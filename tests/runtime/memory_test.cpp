#include "runtime/memory.hpp"

#include <gtest/gtest.h>

#include <limits>

#include "tests/support/test_pool.hpp"

namespace {

using test::Guarded;

// Blocks of every length that differ from another one from a unit on: the first difference says
// that a byte is larger, and that a wide unit is smaller, for its wrapping difference is negative;
// those behind it say the opposite.
TEST(Memory, scans_tests_and_comparisons_find_the_first_unit_of_note) {
    for (uint64_t count = 0; count < 150; ++count) {
        const std::basic_string<uint8_t> sameBytes(count, 0x41);
        const std::u32string sameUnits(count, 0x41);
        const Guarded<uint8_t> bytes{std::span{sameBytes}};
        const Guarded<char32_t> units{std::span{sameUnits}};
        for (uint64_t at = count; at <= count; --at) {
            if (at + 1 < count) bytes.data()[at + 1] = 0x40;
            if (at + 1 < count) units.data()[at + 1] = 0x42;
            if (at < count) bytes.data()[at] = 0xC0;
            if (at < count) units.data()[at] = 0x80000042;
            const int32_t differs = at < count;
            const int64_t index = differs ? static_cast<int64_t>(at) : -1;
            ASSERT_EQ(nxMemScan(bytes.data(), count, 0xC0), index);
            ASSERT_EQ(nxMemNScan(bytes.data(), count, 0x41), index);
            ASSERT_EQ(nxMemTNScan(units.data(), count, 0x41), index);
            ASSERT_EQ(nxMemNot(0x41, bytes.data(), count), !differs);
            ASSERT_EQ(nxMemTNot(0x41, units.data(), count), !differs);
            ASSERT_EQ(nxMemCmp(bytes.data(), sameBytes.data(), count), differs);
            ASSERT_EQ(nxMemCmp(sameBytes.data(), bytes.data(), count), -differs);
            ASSERT_EQ(nxWMemCmp(units.data(), sameUnits.data(), count), -differs);
            ASSERT_EQ(nxWMemCmp(sameUnits.data(), units.data(), count), differs);
        }
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
    std::string before;
    while (before.size() < 4 * 257 + 4) before += std::to_string(before.size());
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
    const auto copy = pool.live.at(nxMemDup("abcde", 4, &pool)).bytes();
    EXPECT_EQ(std::string(copy.begin(), copy.end()), "abcd");
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
