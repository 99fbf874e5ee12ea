// What a codec makes of an input, with a pool that watches it.
#pragma once

#include <string_view>
#include <vector>

#include "platform/host/checked_pool.hpp"
#include "tests/fuzz/fuzz.hpp"

namespace fuzz {

template <class Unit>
struct Coded {
    vx::Status status;
    std::vector<Unit> output;  // empty after a failure
};

template <class Input, class InputCount, class Unit, class Count>
Coded<Unit> coded(vx::Status (*codec)(vx::Pool*, const Input*, InputCount, Unit**, Count*),
                  const std::vector<Input>& input) {
    const auto tell = [](std::string_view) { require(false, "a codec leaves nothing behind"); };
    auto* pool = new vxhost::CheckedPool("codec", tell);
    Unit* output = nullptr;
    Count count = 0;
    const vx::Status status =
        codec(pool, input.data(), static_cast<InputCount>(input.size()), &output, &count);
    require(status == vx::VX_SUCCESS || !output, "nothing comes of a failure");
    const Coded<Unit> result{status, {output, output + count}};
    if (output) pool->Free(pool, output);
    pool->DestroyPool(pool);
    return result;
}

}  // namespace fuzz
