// Who else has a file open.
#pragma once

#include "platform/base/descriptor.hpp"

namespace vxhost {

// Whether somebody has it open for writing. False where the system does not tell. file: open for
// reading alone.
bool isOpenForWriting(const Descriptor& file);

}  // namespace vxhost
