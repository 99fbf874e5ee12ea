// Sixteen bytes at a time: where in a block two lanes agree or differ.
#pragma once

#include <bit>
#include <cstdint>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

inline constexpr uint64_t laneBytes = 16;

template <class Unit>
struct LanesOf {
    typedef Unit type __attribute__((vector_size(laneBytes)));
};
template <class Unit>
using Lanes = typename LanesOf<Unit>::type;

// Bit n is set where byte n of a comparison's result is.
template <class Comparison>
uint32_t byteMask(Comparison hits) {
#if defined(__SSE2__)
    return static_cast<uint32_t>(_mm_movemask_epi8(std::bit_cast<__m128i>(hits)));
#else
    // Leaves bit n in byte n of each half, and gathers them in its highest byte.
    using Halves = Lanes<uint64_t>;
    const auto halves = std::bit_cast<Halves>(hits);
    const auto bits = (halves & 0x8040201008040201u) * 0x0101010101010101u >> 56;
    return static_cast<uint32_t>(bits[0] | bits[1] << 8);
#endif
}

// How a test reads its operands: one unit of a block, or the lanes that begin there.
template <class Unit>
struct ReadUnit {
    Unit operator()(const void* block, uint64_t index) const {
        Unit unit;
        __builtin_memcpy(&unit, static_cast<const char*>(block) + index * sizeof unit, sizeof unit);
        return unit;
    }
};

template <class Unit>
struct ReadLanes {
    Lanes<Unit> operator()(const void* block, uint64_t index) const {
        Lanes<Unit> lanes;
        __builtin_memcpy(&lanes, static_cast<const char*>(block) + index * sizeof(Unit),
                         sizeof lanes);
        return lanes;
    }
};

// The first index below count at which test(read, index) holds, or count. The test is asked for
// whole lanes while there are as many, for single units behind them.
template <class Unit, class Test>
uint64_t firstWhere(uint64_t count, Test test) {
    constexpr uint64_t step = laneBytes / sizeof(Unit);
    constexpr ReadLanes<Unit> lanes;
    uint64_t at = 0;
    for (; count - at >= 4 * step; at += 4 * step) {
        if (byteMask(test(lanes, at) | test(lanes, at + step) | test(lanes, at + 2 * step) |
                     test(lanes, at + 3 * step)))
            break;
    }
    for (; count - at >= step; at += step) {
        if (const uint32_t hits = byteMask(test(lanes, at)))
            return at + unsigned(std::countr_zero(hits)) / sizeof(Unit);
    }
    while (at < count && !test(ReadUnit<Unit>{}, at)) ++at;
    return at;
}
