#include "runtime/memory.hpp"

#include <cstring>

#include "runtime/lanes.hpp"

namespace {

// Below this many bytes a call costs more than it saves.
constexpr uint64_t bulkThreshold = 96;

template <class Unit>
uint64_t firstDifferentFrom(Unit value, const void* block, uint64_t count) {
    return firstWhere<Unit>(count,
                            [=](auto read, uint64_t at) { return read(block, at) != value; });
}

template <class Unit>
uint64_t firstDifference(const void* first, const void* second, uint64_t count) {
    return firstWhere<Unit>(
        count, [=](auto read, uint64_t at) { return read(first, at) != read(second, at); });
}

int64_t indexOrNone(uint64_t index, uint64_t count) {
    return index < count ? static_cast<int64_t>(index) : -1;
}

bool farApart(const void* first, const void* second, uint64_t count) {
    const auto a = reinterpret_cast<uintptr_t>(first);
    const auto b = reinterpret_cast<uintptr_t>(second);
    return (a < b ? b - a : a - b) > count;
}

}  // namespace

void nxMemSet(void* destination, uint8_t value, uint64_t count) {
    std::memset(destination, value, count);
}

void nxMemTSet(char32_t* destination, char32_t value, uint64_t count) {
#pragma GCC unroll 4  // of the lanes that the compiler makes of it: twice as fast
    for (uint64_t i = 0; i < count; ++i) destination[i] = value;
}

int32_t nxMemNot(uint8_t value, const void* block, uint64_t count) {
    return firstDifferentFrom<uint8_t>(value, block, count) == count;
}

int32_t nxMemTNot(char32_t value, const char32_t* block, uint64_t count) {
    return firstDifferentFrom<uint32_t>(value, block, count) == count;
}

int32_t nxMemCmp(const void* first, const void* second, uint64_t count) {
    const uint64_t at = firstDifference<uint8_t>(first, second, count);
    if (at == count) return 0;
    constexpr ReadUnit<uint8_t> byte;
    return byte(first, at) < byte(second, at) ? -1 : 1;
}

int32_t nxWMemCmp(const char32_t* first, const char32_t* second, uint64_t count) {
    const uint64_t at = firstDifference<uint32_t>(first, second, count);
    if (at == count) return 0;
    return static_cast<int32_t>(first[at] - second[at]) < 0 ? -1 : 1;
}

void* nxMemCpy(const void* source, void* destination, uint64_t count) {
    if (count > bulkThreshold && farApart(source, destination, count))
        return std::memcpy(destination, source, count);
    const auto* from = static_cast<const uint8_t*>(source);
    auto* to = static_cast<uint8_t*>(destination);
    for (uint64_t i = 0; i < count; ++i) to[i] = from[i];
    return destination;
}

void nxMemSCpy(const void* source, void* destination, uint64_t count) {
    std::memmove(destination, source, count);
}

void* nxMemDup(const void* source, uint64_t count, vx::Pool* pool) {
    if (!source || !pool) return nullptr;
    void* copy = pool->Alloc(pool, count, vx::POOL_PLAIN);
    return copy ? nxMemCpy(source, copy, count) : nullptr;
}

int64_t nxMemScan(const void* block, uint64_t count, uint8_t value) {
    if (!block) return -1;
    const uint64_t at = firstWhere<uint8_t>(
        count, [=](auto read, uint64_t index) { return read(block, index) == value; });
    return indexOrNone(at, count);
}

int64_t nxMemNScan(const void* block, uint64_t count, uint8_t value) {
    return block ? indexOrNone(firstDifferentFrom<uint8_t>(value, block, count), count) : -1;
}

int64_t nxMemTNScan(const char32_t* block, uint64_t count, char32_t value) {
    return block ? indexOrNone(firstDifferentFrom<uint32_t>(value, block, count), count) : -1;
}

int32_t nxMissArray(const double* values, uint64_t count) {
    return firstWhere<double>(count, [=](auto read, uint64_t at) {
               const auto value = read(values, at);
               return value != value;
           }) < count;
}

vx::Status nxUnsup() {
    return vx::VX_UNSUPPORTED;
}
