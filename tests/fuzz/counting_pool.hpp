// A pool that counts the blocks that are out. They are the system's own, so that the address
// sanitizer sees their ends.
#pragma once

#include <cstdlib>
#include <vector>

#include "host/pool.h"
#include "host/status.h"
#include "tests/fuzz/fuzz.hpp"

namespace fuzz {

struct CountingPool : vx::Pool {
    size_t out = 0;

    CountingPool() : vx::Pool{} {
        Alloc = [](vx::Pool* self, uint64_t bytes, uint32_t flags) {
            ++static_cast<CountingPool*>(self)->out;
            return flags == vx::POOL_ZEROED ? std::calloc(1, bytes) : std::malloc(bytes);
        };
        Free = [](vx::Pool* self, void* block) {
            --static_cast<CountingPool*>(self)->out;
            std::free(block);
        };
    }
};

template <class Unit>
struct Coded {
    vx::Status status;
    std::vector<Unit> output;  // empty after a failure
};

// What the codec makes of the input, in a block that is given back.
template <class Input, class InputCount, class Unit, class Count>
Coded<Unit> coded(vx::Status (*codec)(vx::Pool*, const Input*, InputCount, Unit**, Count*),
                  const std::vector<Input>& input) {
    CountingPool pool;
    Unit* output = nullptr;
    Count count = 0;
    const vx::Status status =
        codec(&pool, input.data(), static_cast<InputCount>(input.size()), &output, &count);
    require(status == vx::VX_SUCCESS || !output, "nothing comes of a failure");
    const Coded<Unit> result{status, {output, output + count}};
    if (output) pool.Free(&pool, output);
    require(pool.out == 0, "no block is left");
    return result;
}

}  // namespace fuzz
