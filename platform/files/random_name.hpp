// Names that nobody can guess, or that clash with no other.
#pragma once

#include <string>
#include <string_view>

namespace vxhost {

// Of files and directories that are made where a person looks: hidden, and known when they are left
// over.
inline constexpr const char* hiddenPrefix = ".quillon-";

// 128 bits of randomness in 32 hexadecimal digits.
std::string randomName();

// As long, and always the same for the same text: its digest.
std::string digestName(std::string_view text);

}  // namespace vxhost
