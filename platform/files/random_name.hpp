// Names that nobody can guess.
#pragma once

#include <string>

namespace vxhost {

// Of files and directories that are made where a person looks: hidden, and known when they are left
// over.
inline constexpr const char* hiddenPrefix = ".quillon-";

// 128 bits of randomness in 32 hexadecimal digits.
std::string randomName();

}  // namespace vxhost
