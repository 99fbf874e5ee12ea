// What the handles of the extension have in common.
#pragma once

#include <cstring>

#include "runtime/text.hpp"
#include "vxext/src/pool_ptr.hpp"

namespace vx {

// The mark that opens every handle.
inline void squillonMark(char (&magic)[4]) {
    std::memcpy(magic, "nevo", sizeof magic);
}

// A pool copy of a caller's generic name, with its NUL; null: no memory.
inline char* squillonCopyGenericName(Pool* pool, const char* name) {
    const uint64_t bytes = nxStrLen(name) + 1;
    char* copy = squillonAlloc<char>(pool, bytes);
    if (copy) std::memcpy(copy, name, bytes);
    return copy;
}

}  // namespace vx
