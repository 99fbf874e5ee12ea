// Directories in which a living process works, as other processes see.
#pragma once

#include <filesystem>
#include <optional>

#include "platform/base/descriptor.hpp"

namespace vxhost {

// It is held (a shared flock) until the descriptor is closed here and in the programs that inherit
// it, however they end. Where the file system has no locks, nobody takes such a directory for left.
// Throws a Failure.
Descriptor holdDirectory(const std::filesystem::path& directory);

// Nothing for one that somebody holds, and for what is no directory of the person's own. While the
// descriptor is open, nobody else gets one.
std::optional<Descriptor> takeLeftDirectory(const std::filesystem::path& directory);

}  // namespace vxhost
