// Local files that are put in place whole or not at all.
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

}  // namespace quillon
