// Names that nobody can guess.
#pragma once

#include <string>

namespace vxhost {

// 128 bits of the system's randomness in 32 hexadecimal digits. Throws a Failure.
std::string randomName();

}  // namespace vxhost
