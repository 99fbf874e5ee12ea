// Percent escapes (RFC 3986, 2.1) and the comparison of paths that differ in them alone.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace vxhost {

bool isEscape(std::string_view text, size_t at);     // "%" and two hexadecimal digits stand there
char escapedByte(std::string_view text, size_t at);  // only where isEscape holds

// Equal when escapes are read as the bytes they stand for; an escaped "/" is not a "/". One "/"
// at the beginning and one at the end do not count.
bool samePath(std::string_view a, std::string_view b);

// A path in one spelling, without the slashes at its ends.
std::string pathKey(std::string_view path);
// Whether the second is below the first, at any depth; both are keys.
bool isBelow(std::string_view collection, std::string_view key);

}  // namespace vxhost
