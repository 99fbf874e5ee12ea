// What is in a directory, by paths that never lead out of it.
#pragma once

#include <string>
#include <string_view>

#include "platform/base/descriptor.hpp"

namespace vxhost {

// A path in parts: the directory, empty for the one itself, and the last segment.
struct BeneathPath {
    std::string folder, name;
};
BeneathPath splitBeneath(std::string_view path);

// openat(2) of a relative path with "/" between its segments; empty: the directory itself. No
// segment may be "." or "..", and no symbolic link is followed, whoever made it and whenever.
// Throws a Failure that names the path.
Descriptor openBeneath(const Descriptor& directory, std::string_view path, int flags,
                       mode_t mode = 0);

// The same, a segment at a time, as it is done where the kernel has no openat2(2).
Descriptor openBeneathBySteps(const Descriptor& directory, std::string_view path, int flags,
                              mode_t mode = 0);

}  // namespace vxhost
