// A pool that knows how many of its blocks are out. They are the system's own, so that the address
// sanitizer sees their ends; the n-th request can be made to fail.
#pragma once

#include <cstdlib>

#include "host/pool.h"
#include "platform/slots.hpp"

namespace fuzz {

struct CountingPool : vx::Pool {
    size_t out = 0;
    size_t asked = 0;
    size_t failAt = 0;  // 1: the first request; 0: none

    CountingPool() {
        vxhost::fillSlots<vx::Pool>(*this);
        Alloc = [](vx::Pool* self, uint64_t bytes, uint32_t flags) noexcept -> void* {
            auto& pool = *static_cast<CountingPool*>(self);
            if (++pool.asked == pool.failAt) return nullptr;
            void* block = flags == vx::POOL_ZEROED ? std::calloc(1, bytes) : std::malloc(bytes);
            pool.out += block != nullptr;
            return block;
        };
        Free = [](vx::Pool* self, void* block) noexcept {
            --static_cast<CountingPool*>(self)->out;
            std::free(block);
        };
        DestroyPool = [](vx::Pool*) noexcept {};
    }
};

}  // namespace fuzz
