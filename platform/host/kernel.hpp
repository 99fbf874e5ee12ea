// The kernel of this process, registered with every extension library that it loads.
#pragma once

#include "host/kernel.h"

namespace vxhost {

vx::Kernel& kernel();

}  // namespace vxhost
