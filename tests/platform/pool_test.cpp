#include "platform/pool.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "platform/checked_pool.hpp"

namespace {

bool allZero(const void* block, size_t bytes) {
    const auto* from = static_cast<const char*>(block);
    return std::all_of(from, from + bytes, [](char byte) { return byte == 0; });
}

class pools : public testing::TestWithParam<bool> {
protected:
    vx::Pool* pool =
        GetParam() ? new vxhost::CheckedPool("p", [](std::string_view) {}) : vxhost::createPool();
};
INSTANTIATE_TEST_SUITE_P(both, pools, testing::Bool());

TEST_P(pools, blocks_are_apart_aligned_and_zeroed_when_asked) {
    std::vector<std::pair<char*, size_t>> blocks;
    for (size_t bytes = 0; bytes < 3000; bytes += bytes / 4 + 1) {
        auto* block = static_cast<char*>(pool->Alloc(pool, bytes, vx::POOL_PLAIN));
        ASSERT_NE(block, nullptr);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % alignof(std::max_align_t), 0u);
        std::memset(block, static_cast<int>(bytes % 251 + 1), bytes);
        blocks.emplace_back(block, bytes);
    }
    for (const auto& [block, bytes] : blocks) {
        EXPECT_EQ(std::count(block, block + bytes, static_cast<char>(bytes % 251 + 1)),
                  static_cast<ptrdiff_t>(bytes));
        pool->Free(pool, block);
        void* again = pool->Alloc(pool, bytes, vx::POOL_ZEROED);
        EXPECT_TRUE(allZero(again, bytes));
    }
    pool->DestroyPool(pool);  // with blocks still out: the leak checker watches
}

TEST_P(pools, too_much_is_null) {
    for (const uint64_t bytes : {~uint64_t{0}, ~uint64_t{0} - 15, uint64_t{1} << 62}) {
        EXPECT_EQ(pool->Alloc(pool, bytes, vx::POOL_ZEROED), nullptr);
    }
    pool->DestroyPool(pool);
}

TEST(checked_pool, tells_of_leaks_and_of_what_must_not_be_freed) {
    std::string told;
    auto* pool = new vxhost::CheckedPool("quillon pool", [&](std::string_view report) {
        told.append(report.substr(0, report.find(" at 0x"))) += '\n';
    });
    char foreign = 0;
    pool->Alloc(pool, 24, vx::POOL_PLAIN);
    void* block = pool->Alloc(pool, 100, vx::POOL_ZEROED);
    pool->Free(pool, block);
    EXPECT_EQ(told, "");
    pool->Free(pool, block);
    pool->Free(pool, &foreign);
    pool->expectAtEnd(pool->Alloc(pool, 272, vx::POOL_ZEROED));
    pool->DestroyPool(pool);
    EXPECT_EQ(told,
              "quillon pool: a block of 100 bytes was freed twice\n"
              "quillon pool: a block\n"
              "quillon pool: a block of 24 bytes was never freed\n");
}

}  // namespace
