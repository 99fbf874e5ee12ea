#include "platform/host/pool.hpp"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "platform/host/checked_pool.hpp"

TEST(pools, blocks_are_apart_aligned_and_zeroed_when_asked) {
    vx::Pool* const checked = new vxhost::CheckedPool("p", [](auto) {});
    for (vx::Pool* pool : {vxhost::createPool(), checked}) {
        std::vector<std::pair<char*, std::string>> blocks;
        for (size_t bytes = 0; bytes < 3000; bytes += bytes / 4 + 1) {
            auto* block = static_cast<char*>(pool->Alloc(pool, bytes, vx::POOL_PLAIN));
            EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % alignof(std::max_align_t), 0u);
            blocks.emplace_back(block, std::string(bytes, static_cast<char>(bytes % 251 + 1)));
            std::memcpy(block, blocks.back().second.data(), bytes);
        }
        for (const auto& [block, content] : blocks) {
            EXPECT_EQ(std::string_view(block, content.size()), content);
            pool->Free(pool, block);
            auto* again = static_cast<char*>(pool->Alloc(pool, content.size(), vx::POOL_ZEROED));
            EXPECT_EQ(std::string_view(again, content.size()), std::string(content.size(), 0));
        }
        for (const uint64_t bytes : {~uint64_t{0}, ~uint64_t{0} - 15, uint64_t{1} << 62})
            EXPECT_EQ(pool->Alloc(pool, bytes, vx::POOL_ZEROED), nullptr);
        pool->DestroyPool(pool);  // with blocks still out: the leak checker watches
    }
}

TEST(checked_pool, tells_of_leaks_and_of_what_must_not_be_freed) {
    std::string told;
    auto* pool = new vxhost::CheckedPool("p", [&](std::string_view report) {
        told.append(report.substr(0, report.find(" at 0x"))) += '\n';
    });
    pool->Alloc(pool, 24, vx::POOL_PLAIN);
    void* block = pool->Alloc(pool, 100, vx::POOL_ZEROED);
    for (void* freed : {block, block, static_cast<void*>(&told)}) pool->Free(pool, freed);
    pool->expectAtEnd(pool->Alloc(pool, 272, vx::POOL_ZEROED));
    pool->DestroyPool(pool);
    EXPECT_EQ(told,
              "p: a block of 100 bytes was freed twice\np: a block\n"
              "p: a block of 24 bytes was never freed\n");
}
