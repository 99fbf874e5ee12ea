// What the case tables are built from while compiling: runs of characters that change alike, laid
// out in blocks of 128 characters of which only those with a change are kept.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace vx {

struct CaseRun {
    uint32_t first, last;  // both included
    uint32_t step;         // 2: every second character
    int32_t delta;         // from a character to what it maps to
};

inline constexpr size_t blockSize = 128;
inline constexpr size_t blockCount = 0x10000 / blockSize;

constexpr size_t blockOf(uint32_t character) {
    return character / blockSize;
}

template <size_t Count, class Visit>
constexpr void forEachOf(const CaseRun (&runs)[Count], Visit visit) {
    for (const CaseRun& run : runs) {
        for (uint32_t c = run.first; c <= run.last; c += run.step) visit(c, run.delta);
    }
}

// Characters that a shift table changes.
template <class Delta, size_t Count>
constexpr uint32_t changesIn(const std::array<Delta, Count>& shift) {
    uint32_t characters = 0;
    for (const Delta delta : shift) characters += delta != 0;
    return characters;
}

using BlockSet = std::array<bool, blockCount>;

constexpr uint32_t sizeOf(const BlockSet& blocks) {
    uint32_t kept = 0;
    for (const bool block : blocks) kept += block;
    return kept;
}

// Whether exactly the blocks that begin with these characters are kept.
template <size_t Count>
constexpr bool consistsOf(const BlockSet& blocks, const uint32_t (&starts)[Count]) {
    for (const uint32_t start : starts) {
        if (start % blockSize != 0 || !blocks[blockOf(start)]) return false;
    }
    return sizeOf(blocks) == Count;
}

// Per block the index of its first entry in the table of the kept blocks, or -1.
template <class Index>
constexpr std::array<Index, blockCount> metaTable(const BlockSet& blocks) {
    std::array<Index, blockCount> meta{};
    size_t base = 0;
    for (size_t block = 0; block < blockCount; ++block) {
        meta[block] = blocks[block] ? static_cast<Index>(base) : Index{-1};
        if (blocks[block]) base += blockSize;
    }
    return meta;
}

}  // namespace vx
