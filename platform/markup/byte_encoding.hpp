// Encodings of one byte a character, beyond those that expat knows itself.
#pragma once

#include <expat.h>

namespace vxhost {

// Fills the table from the system's converters; false for an encoding that is none of the common
// ones, is unknown there, or takes more than one byte for some character.
bool fillByteEncoding(const char* name, XML_Encoding& encoding) noexcept;

}  // namespace vxhost
