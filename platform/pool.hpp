// Memory of an extension. Blocks are never moved or copied; a destroyed pool frees what is out.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "host/pool.h"

namespace vxhost {

// The pool of ordinary runs: small blocks out of large ones. Usable from several threads.
vx::Pool* createPool();

// A pool that watches its caller: each leaked block at its destruction, each block that is freed
// twice or was never its own, is told by name of the pool and size, and left alone. Every block is
// the system's own, so that memory checkers see its ends.
vx::Pool* createCheckedPool(std::string name, std::function<void(std::string_view)> told);

// A checked one that tells standard error when QUILLON_POOL_CHECK is 1, otherwise the ordinary one.
vx::Pool* createPoolAsWished(const char* name);

}  // namespace vxhost
