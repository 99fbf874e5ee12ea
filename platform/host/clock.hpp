// The date-time service: seconds since 1970 in UTC, with fractions.
#pragma once

#include "host/kernel.h"

namespace vxhost {

// Slot of the kernel. output[1] is what a local time needs added to be GMT, in seconds, by the time
// zone of this moment. A request other than DATETIME_NOW: VX_UNSUPPORTED, the output is untouched.
vx::Status dateTime(uint32_t request, double* output, uint32_t flags) noexcept;

}  // namespace vxhost
