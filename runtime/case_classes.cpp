#include "runtime/case_classes.hpp"

namespace {

using vx::CaseRun;

#include "runtime/unicode_9_case.inc"

// Per character of the basic plane the delta to an extreme of its class.
using Deltas = std::array<int32_t, 0x10000>;

constexpr uint32_t smaller(uint32_t a, uint32_t b) {
    return a < b ? a : b;
}
constexpr uint32_t larger(uint32_t a, uint32_t b) {
    return a < b ? b : a;
}

// Hands the better of two linked characters' targets to both, until no link changes anything: as
// many rounds as the longest chain of a class has links.
template <class Better>
constexpr Deltas extremes(Better better) {
    Deltas deltas{};
    bool changed = true;
    const auto link = [&](uint32_t c, int32_t delta) {
        const uint32_t d = c + static_cast<uint32_t>(delta);
        const uint32_t ofC = c + static_cast<uint32_t>(deltas[c]);
        const uint32_t ofD = d + static_cast<uint32_t>(deltas[d]);
        if (ofC == ofD) return;
        const uint32_t target = better(ofC, ofD);
        deltas[c] = static_cast<int32_t>(target - c);
        deltas[d] = static_cast<int32_t>(target - d);
        changed = true;
    };
    while (changed) {
        changed = false;
        vx::forEachOf(simpleUpper, link);
        vx::forEachOf(simpleLower, link);
        vx::forEachOf(simpleTitle, link);
    }
    return deltas;
}

// The sharp s is no capital's small letter here, though it is the smallest of its class.
constexpr Deltas withoutSharpS(Deltas deltas) {
    deltas[0xDF] = 0;
    return deltas;
}

constexpr Deltas toSmallest = extremes(smaller);
constexpr Deltas toLargest = withoutSharpS(extremes(larger));

constexpr vx::BlockSet changingBlocks(const Deltas& deltas) {
    vx::BlockSet blocks{};
    for (uint32_t c = 0; c < deltas.size(); ++c) {
        if (deltas[c] != 0) blocks[vx::blockOf(c)] = true;
    }
    return blocks;
}

constexpr vx::BlockSet minBlocks = changingBlocks(toSmallest);
constexpr vx::BlockSet maxBlocks = changingBlocks(toLargest);

template <size_t Blocks>
constexpr auto shiftTable(const Deltas& deltas, const vx::BlockSet& blocks) {
    std::array<int32_t, Blocks * vx::blockSize> shift{};
    size_t entry = 0;
    for (size_t block = 0; block < vx::blockCount; ++block) {
        if (!blocks[block]) continue;
        for (size_t n = 0; n < vx::blockSize; ++n)
            shift[entry++] = deltas[block * vx::blockSize + n];
    }
    return shift;
}

}  // namespace

constexpr std::array<int32_t, vx::blockCount> nxz_min_meta = vx::metaTable<int32_t>(minBlocks);
constexpr std::array<int32_t, vx::blockCount> nxz_max_meta = vx::metaTable<int32_t>(maxBlocks);
constexpr std::array<int32_t, 31 * vx::blockSize> nxz_minshift =
    shiftTable<31>(toSmallest, minBlocks);
constexpr std::array<int32_t, 29 * vx::blockSize> nxz_maxshift =
    shiftTable<29>(toLargest, maxBlocks);

namespace {

// Whether each of the characters has these extremes.
template <size_t Count>
constexpr bool classIs(const uint32_t (&members)[Count], uint32_t smallest, uint32_t largest) {
    for (const uint32_t c : members) {
        if (c + static_cast<uint32_t>(toSmallest[c]) != smallest) return false;
        if (c + static_cast<uint32_t>(toLargest[c]) != largest) return false;
    }
    return true;
}

static_assert(vx::consistsOf(minBlocks,
                             {0x0000, 0x0080, 0x0100, 0x0180, 0x0200, 0x0280, 0x0300, 0x0380,
                              0x0400, 0x0480, 0x0500, 0x0580, 0x1380, 0x1C80, 0x1E00, 0x1E80,
                              0x1F00, 0x1F80, 0x2100, 0x2180, 0x2480, 0x2C00, 0x2C80, 0x2D00,
                              0xA600, 0xA680, 0xA700, 0xA780, 0xAB00, 0xAB80, 0xFF00}));
static_assert(vx::consistsOf(maxBlocks,
                             {0x0000, 0x0080, 0x0100, 0x0180, 0x0200, 0x0280, 0x0300, 0x0380,
                              0x0400, 0x0480, 0x0500, 0x1080, 0x1380, 0x1C80, 0x1D00, 0x1E00,
                              0x1E80, 0x1F00, 0x1F80, 0x2100, 0x2180, 0x2480, 0x2C00, 0x2C80,
                              0xA600, 0xA680, 0xA700, 0xA780, 0xFF00}));
static_assert(nxz_minshift.size() == 3968 && nxz_maxshift.size() == 3712);
static_assert(vx::changesIn(nxz_minshift) == 1134 && vx::changesIn(nxz_maxshift) == 1133);

static_assert(classIs({0x49, 0x69, 0x130, 0x131}, 0x49, 0x131));
static_assert(classIs({0x4B, 0x6B, 0x212A}, 0x4B, 0x212A));
static_assert(classIs({0x53, 0x73, 0x17F}, 0x53, 0x17F));
static_assert(classIs({0xC5, 0xE5, 0x212B}, 0xC5, 0x212B));
static_assert(classIs({0xB5, 0x39C, 0x3BC}, 0xB5, 0x3BC));
static_assert(classIs({0x345, 0x399, 0x3B9, 0x1FBE}, 0x345, 0x1FBE));
static_assert(classIs({0x1C4, 0x1C5, 0x1C6}, 0x1C4, 0x1C6));
static_assert(classIs({0x26A, 0xA7AE}, 0x26A, 0xA7AE));
static_assert(classIs({0x13A0, 0xAB70}, 0x13A0, 0xAB70));
static_assert(classIs({0x1C90}, 0x1C90, 0x1C90) && classIs({0xA7B8}, 0xA7B8, 0xA7B8));
static_assert(classIs({0xDF}, 0xDF, 0xDF) && classIs({0x1E9E}, 0xDF, 0x1E9E));

}  // namespace
