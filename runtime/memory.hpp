// Blocks of memory: fill, compare, copy and scan. Counts are of units: bytes, or 4-byte units where
// a name says T or W. Nothing here keeps a pointer. A pointer addresses at least count units unless
// its function says that it may be null.
#pragma once

#include "host/pool.h"
#include "host/status.h"

#pragma GCC visibility push(default)
extern "C" {

void nxMemSet(void* destination, uint8_t value, uint64_t count);
void nxMemTSet(char32_t* destination, char32_t value, uint64_t count);

// 1 when every unit equals the value, so also for no units at all; else 0.
int32_t nxMemNot(uint8_t value, const void* block, uint64_t count);
int32_t nxMemTNot(char32_t value, const char32_t* block, uint64_t count);

// -1, 0 or 1, decided by the first units that differ. Bytes compare as unsigned values. For 4-byte
// units the sign of the wrapping difference first - second decides, so U+0001 is greater than
// 0x80000002.
int32_t nxMemCmp(const void* first, const void* second, uint64_t count);
int32_t nxWMemCmp(const char32_t* first, const char32_t* second, uint64_t count);

// Copies front to back, the source first, and returns the destination. Where the destination
// overlaps the source from above, the leading bytes are repeated.
void* nxMemCpy(const void* source, void* destination, uint64_t count);

// Copies as if through a buffer, however the two regions overlap.
void nxMemSCpy(const void* source, void* destination, uint64_t count);

// A copy in a new block of the pool, which the caller frees. Null when the source or the pool is
// null or the pool has no memory.
void* nxMemDup(const void* source, uint64_t count, vx::Pool* pool);

// Index of the first unit equal to the value (N: different from it), or -1. A null block has no
// units.
int64_t nxMemScan(const void* block, uint64_t count, uint8_t value);
int64_t nxMemNScan(const void* block, uint64_t count, uint8_t value);
int64_t nxMemTNScan(const char32_t* block, uint64_t count, char32_t value);

// 1 when any value is missing, that is a NaN; else 0.
int32_t nxMissArray(const double* values, uint64_t count);

// VX_UNSUPPORTED, for whatever is not there.
vx::Status nxUnsup();

}  // extern "C"
#pragma GCC visibility pop
