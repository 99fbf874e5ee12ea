// Memory of an extension: small blocks out of large ones.
#pragma once

#include "host/pool.h"

namespace vxhost {

// Blocks are never moved or copied; a destroyed pool frees what is out. Usable from several
// threads.
vx::Pool* createPool();

}  // namespace vxhost
