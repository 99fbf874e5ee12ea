// Memory of an extension: small blocks out of large ones.
#pragma once

#include "host/pool.h"

namespace vxhost {

// A longer block is refused, before any sum can wrap.
inline constexpr uint64_t maxBlockBytes = uint64_t{1} << 39;

// Blocks are never moved or copied; a destroyed pool frees what is out. Usable from several
// threads.
vx::Pool* createPool();

}  // namespace vxhost
