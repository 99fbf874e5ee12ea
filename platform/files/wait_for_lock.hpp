// Processes that wait for one another.
#pragma once

#include <string>

#include "platform/base/descriptor.hpp"

namespace vxhost {

// The lock of a whole file or directory goes with the descriptor. Throws a Failure.
void waitForLock(const Descriptor& file, const std::string& shown);

}  // namespace vxhost
