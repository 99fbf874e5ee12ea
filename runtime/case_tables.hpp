// The library's own tables for upper- and lower-casing, which a host may read. They cover U+0000 to
// U+FFFF in blocks of 128 characters; what they leave out maps to itself.
#pragma once

#include <array>
#include <cstdint>

#include "runtime/case_blocks.hpp"

namespace vx {

inline constexpr size_t mappedBlocks = 19;

// The delta of a character that is to be looked up in the aux table.
inline constexpr int8_t escape = -128;

using ShiftTable = std::array<int8_t, mappedBlocks * blockSize>;

// Pairs of a character and what it maps to, ended by a single zero word.
template <size_t Pairs>
using AuxTable = std::array<uint32_t, Pairs * 2 + 1>;

}  // namespace vx

#pragma GCC visibility push(default)
extern "C" {

// Per block the index of its entries in both shift tables, or -1 where nothing is mapped.
extern const std::array<int16_t, vx::blockCount> nxz_metatable;

// Per character the delta to its other case, 0 or the escape.
extern const vx::ShiftTable nxz_upshift;
extern const vx::ShiftTable nxz_downshift;

extern const vx::AuxTable<20> nxz_upaux;
extern const vx::AuxTable<19> nxz_downaux;

}  // extern "C"
#pragma GCC visibility pop
