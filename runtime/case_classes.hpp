// The case classes of Unicode 9.0: characters linked, directly or through others, by the simple
// upper-, lower- and title-case mappings. The tables lead from a character to the smallest and to
// the largest of its class, in blocks of 128 characters of U+0000 to U+FFFF.
#pragma once

#include <array>
#include <cstdint>

#include "runtime/case_blocks.hpp"

// Per block the index of its entries in the shift table, or -1 where nothing changes.
extern const std::array<int32_t, vx::blockCount> nxz_min_meta;
extern const std::array<int32_t, vx::blockCount> nxz_max_meta;

// Per character the delta to the smallest or the largest of its class.
extern const std::array<int32_t, 31 * vx::blockSize> nxz_minshift;
extern const std::array<int32_t, 29 * vx::blockSize> nxz_maxshift;
