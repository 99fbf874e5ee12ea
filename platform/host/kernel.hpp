// The kernel of this process, registered with every extension library that it loads.
#pragma once

#include "host/kernel.h"
#include "platform/base/settings.hpp"

namespace vxhost {

vx::Kernel& kernel();

// From now on; before the first handle at best.
void configureKernel(const KernelSettings& settings);

}  // namespace vxhost
