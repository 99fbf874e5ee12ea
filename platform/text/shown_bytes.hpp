// "\x1B": how a byte that a terminal cannot show is shown, and typed back.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vxhost {

inline constexpr size_t shownByteLength = 4;

// The byte that the text begins with, where it is one that is shown so: a control character, one of
// no ASCII, or a backslash.
std::optional<char> readShownByte(std::string_view text);

// The text with the bytes in place of what shows them.
std::string withoutShownBytes(std::string_view text);

}  // namespace vxhost
