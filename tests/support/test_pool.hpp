// A pool that knows its blocks: each ends at an unreadable page, the n-th request can be made to
// fail, and what is given back can be looked at.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <vector>

#include "host/pool.h"
#include "tests/support/guarded_block.hpp"

namespace test {

struct TestPool : vx::Pool {
    int asked = 0;
    int failAt = 0;                               // 1: the first request; 0: none
    std::map<const void*, GuardedBlock> live;     // blocks still out
    std::vector<uint64_t> sizes;                  // of each request
    std::vector<std::vector<uint8_t>> givenBack;  // content of each freed block as it came
    std::function<void(const char* call, uint64_t bytes)> told = [](auto...) {};

    TestPool() : vx::Pool{} {
        Alloc = [](vx::Pool* self, uint64_t bytes, uint32_t flags) {
            return static_cast<TestPool*>(self)->alloc(bytes, flags);
        };
        Free = [](vx::Pool* self, void* block) { static_cast<TestPool*>(self)->free(block); };
        DestroyPool = [](vx::Pool* self) { static_cast<TestPool*>(self)->live.clear(); };
    }
    TestPool(const TestPool&) = delete;

private:
    void* alloc(uint64_t bytes, uint32_t flags) {
        told("Alloc", bytes);
        sizes.push_back(bytes);
        if (++asked == failAt) return nullptr;
        const GuardedBlock block{bytes};
        if (flags == vx::POOL_ZEROED) std::ranges::fill(block.bytes(), uint8_t{0});
        live.emplace(block.data(), block);
        return block.data();
    }

    void free(void* data) {
        const auto block = live.extract(data);
        ASSERT_TRUE(block) << "a block is freed that is not out";
        const auto bytes = block.mapped().bytes();
        told("Free", bytes.size());
        givenBack.emplace_back(bytes.begin(), bytes.end());
    }
};

}  // namespace test
