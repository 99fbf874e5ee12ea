// Local files that are put in place whole or not at all. Where one is a pipe or a device, a signal
// handler that runs while it makes us wait ends that with Kind::interrupted.
#pragma once

#include <filesystem>
#include <optional>

#include "client/result.hpp"
#include "client/time.hpp"

namespace quillon {

// Moves a file to its destination: by a rename on one file system, else by a copy beside the
// destination and a rename. A symbolic link at the destination stays, its target is replaced; what
// is there and no regular file (a pipe, a device) gets the content written into it. A file that is
// replaced leaves its mode to the new one, a new one gets the mode that the umask permits. The
// source is gone after success, and the destination as it was after a failure.
Result<void> putInPlace(const std::filesystem::path& source,
                        const std::filesystem::path& destination, std::optional<Time> modified);

// Makes the path stand for the source's content: by a symbolic link, or, where the source is no
// regular file or links are not to be had, by a copy. /dev/stdin is read on from where it stands.
Result<void> linkOrCopy(const std::filesystem::path& source, const std::filesystem::path& path);

}  // namespace quillon
