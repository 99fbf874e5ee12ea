// Overwriting of secrets.
#pragma once

#include <cstdint>
#include <cstring>

// Overwrites memory that is about to be freed. The empty statement claims to read the block, so the
// compiler cannot drop stores that nobody would otherwise see. A null block goes with 0 bytes.
inline void squillonWipe(void* block, uint64_t bytes) {
    if (bytes == 0) return;
    std::memset(block, 0, bytes);
    asm volatile("" : : "r"(block) : "memory");
}
