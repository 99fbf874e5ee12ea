// How much of what is replaced or removed is kept, and how long.
#pragma once

#include <chrono>
#include <cstdint>

namespace quillon::sync {

struct StoreLimits {
    uint64_t mostBytes = uint64_t{1} << 30;
    std::chrono::hours longest = std::chrono::hours(24 * 30);
    // Of versions that both sides have, which only serve to merge: texts up to a size.
    uint64_t mostCommonBytes = uint64_t{256} << 20;
    uint64_t mostCommonText = uint64_t{1} << 20;
};

}  // namespace quillon::sync
