#include "runtime/memory.hpp"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <random>

#include "tests/support/test_pool.hpp"

namespace {

using test::Guarded;

// Blocks in which units differ rarely, so that every length of a common beginning comes up.
template <class Unit>
std::vector<Unit> randomBlock(std::mt19937& random, uint64_t count) {
    std::vector<Unit> block(count, Unit{0x41});
    if (count != 0 && random() % 4 != 0) {
        for (uint64_t n = random() % 3; n-- > 0;)
            block[random() % count] = static_cast<Unit>(random());
    }
    return block;
}

template <class Unit, class Differs>
int64_t firstIndex(const std::vector<Unit>& block, Differs differs) {
    for (uint64_t i = 0; i < block.size(); ++i) {
        if (differs(block[i])) return static_cast<int64_t>(i);
    }
    return -1;
}

TEST(Memory, scans_and_tests_agree_with_a_plain_loop) {
    std::mt19937 random{1};
    for (int round = 0; round < 4000; ++round) {
        const uint64_t count = random() % 200;
        const auto bytes = randomBlock<uint8_t>(random, count);
        const auto units = randomBlock<char32_t>(random, count);
        const Guarded<uint8_t> b{std::span{bytes}};
        const Guarded<char32_t> u{std::span{units}};
        const uint8_t sought = round % 2 ? 0x41 : static_cast<uint8_t>(random());
        const int64_t other = firstIndex(bytes, [](uint8_t unit) { return unit != 0x41; });
        const int64_t wideOther = firstIndex(units, [](char32_t unit) { return unit != 0x41; });
        ASSERT_EQ(nxMemScan(b.data(), count, sought),
                  firstIndex(bytes, [&](uint8_t unit) { return unit == sought; }));
        ASSERT_EQ(nxMemNScan(b.data(), count, 0x41), other);
        ASSERT_EQ(nxMemTNScan(u.data(), count, 0x41), wideOther);
        ASSERT_EQ(nxMemNot(0x41, b.data(), count), other == -1);
        ASSERT_EQ(nxMemTNot(0x41, u.data(), count), wideOther == -1);
    }
}

TEST(Memory, scans_of_no_block_find_nothing) {
    EXPECT_EQ(nxMemScan(nullptr, 4, 0), -1);
    EXPECT_EQ(nxMemNScan(nullptr, 4, 0), -1);
    EXPECT_EQ(nxMemTNScan(nullptr, 4, 0), -1);
    EXPECT_EQ(nxMemScan("a", 0, 'a'), -1);
    EXPECT_EQ(nxMemNot('a', "b", 0), 1);
}

TEST(Memory, the_first_difference_decides_a_comparison) {
    std::mt19937 random{2};
    for (int round = 0; round < 4000; ++round) {
        const uint64_t count = random() % 200;
        const auto first = randomBlock<uint8_t>(random, count);
        const auto second = randomBlock<uint8_t>(random, count);
        ASSERT_EQ(
            nxMemCmp(Guarded{std::span{first}}.data(), Guarded{std::span{second}}.data(), count),
            (first > second) - (first < second));

        const auto wide = randomBlock<char32_t>(random, count);
        const auto other = randomBlock<char32_t>(random, count);
        int32_t expected = 0;
        for (uint64_t i = 0; i < count && expected == 0; ++i) {
            if (wide[i] != other[i]) expected = (wide[i] - other[i]) >> 31 ? -1 : 1;
        }
        ASSERT_EQ(
            nxWMemCmp(Guarded{std::span{wide}}.data(), Guarded{std::span{other}}.data(), count),
            expected);
    }
    const char32_t one = 1;
    const auto high = static_cast<char32_t>(0x80000002);
    EXPECT_EQ(nxWMemCmp(&one, &high, 1), 1) << "the wrapping difference is positive";
}

TEST(Memory, fills_stop_at_the_count) {
    for (uint64_t count = 0; count < 100; ++count) {
        std::vector<uint8_t> bytes(count + 1, 1);
        nxMemSet(bytes.data(), 0xFE, count);
        ASSERT_EQ(nxMemNot(0xFE, bytes.data(), count), 1);
        ASSERT_EQ(bytes[count], 1);
        std::vector<char32_t> units(count + 1, 1);
        nxMemTSet(units.data(), 0xFFFFFFFE, count);
        ASSERT_EQ(nxMemTNot(0xFFFFFFFE, units.data(), count), 1);
        ASSERT_EQ(units[count], 1u);
    }
}

std::vector<uint8_t> counting(uint64_t count) {
    std::vector<uint8_t> block(count);
    for (uint64_t i = 0; i < count; ++i) block[i] = static_cast<uint8_t>(i * 37 + 1);
    return block;
}

// Copies within one buffer, by every shift and around the size from which a bulk copy is used.
template <class Copy, class Model>
void expectOverlaps(Copy copy, Model model) {
    for (const uint64_t count : {0u, 1u, 2u, 10u, 16u, 33u, 95u, 96u, 97u, 98u, 130u, 257u}) {
        for (uint64_t from = 0; from <= 2 * count + 2; from += 1 + count / 40) {
            for (const uint64_t to : {uint64_t{0}, count, 2 * count + 2}) {
                auto actual = counting(4 * count + 4);
                auto expected = actual;
                copy(actual.data() + from, actual.data() + to, count);
                model(expected.data() + from, expected.data() + to, count);
                ASSERT_EQ(actual, expected) << count << " bytes from " << from << " to " << to;
            }
        }
    }
}

TEST(Memory, copy_runs_from_front_to_back) {
    expectOverlaps(
        [](const uint8_t* source, uint8_t* destination, uint64_t count) {
            ASSERT_EQ(nxMemCpy(source, destination, count), destination);
        },
        [](const uint8_t* source, uint8_t* destination, uint64_t count) {
            for (uint64_t i = 0; i < count; ++i) {
                const volatile uint8_t byte = source[i];
                destination[i] = byte;
            }
        });
}

TEST(Memory, safe_copy_delivers_the_source_as_it_stood) {
    expectOverlaps(nxMemSCpy, [](const uint8_t* source, uint8_t* destination, uint64_t count) {
        const std::vector<uint8_t> buffer(source, source + count);
        std::copy(buffer.begin(), buffer.end(), destination);
    });
}

TEST(Memory, duplicate_is_a_plain_block_of_the_pool) {
    test::TestPool pool;
    const auto source = counting(200);
    void* copy = nxMemDup(source.data(), source.size(), &pool);
    ASSERT_TRUE(copy);
    EXPECT_EQ(std::memcmp(copy, source.data(), source.size()), 0);
    EXPECT_EQ(pool.sizes, std::vector<uint64_t>{200});
    pool.Free(&pool, copy);

    EXPECT_FALSE(nxMemDup(nullptr, 4, &pool));
    EXPECT_FALSE(nxMemDup("abcd", 4, nullptr));
    EXPECT_EQ(pool.asked, 1);
    pool.failAt = 2;
    EXPECT_FALSE(nxMemDup("abcd", 4, &pool));
    EXPECT_TRUE(pool.live.empty());
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
}

TEST(Memory, what_is_not_there_is_unsupported) {
    EXPECT_EQ(nxUnsup(), 0x803FC004u);
}

}  // namespace
