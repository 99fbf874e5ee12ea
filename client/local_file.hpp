// Local files that are put in place whole or not at all. Where one is a pipe or a device, a signal
// handler that runs while it makes us wait ends that with Kind::interrupted.
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string_view>

#include "client/result.hpp"
#include "client/time.hpp"

namespace quillon {

// Who chose a destination. What a person named is written to as it is. Under a name that came from
// elsewhere, as from a server, a symbolic link is followed when it is the person's own, and only a
// regular file is replaced: anything else is refused with Kind::local.
enum class Naming : bool { byPerson, byOthers };

// Where a file for the destination goes: links that lead to something are followed.
Result<std::filesystem::path> resolvePlace(const std::filesystem::path& destination, Naming naming);

// Moves a file to its destination: by a rename on one file system, else by a copy beside the
// destination and a rename. A symbolic link at the destination stays, its target is replaced; what
// is there and no regular file (a pipe, a device) gets the content written into it. A file that is
// replaced leaves its permissions to the new one, a new one gets those that the umask leaves. The
// source is gone after a rename, and the destination as it was after a failure.
Result<void> putInPlace(const std::filesystem::path& source,
                        const std::filesystem::path& destination, Naming naming,
                        std::optional<Time> modified = {});

// Makes the path stand for the source's content: by a symbolic link, or, where the source is no
// regular file or links are not to be had, by a copy. /dev/stdin is read on from where it stands.
Result<void> linkOrCopy(const std::filesystem::path& source, const std::filesystem::path& path);

// Hands out a file's content piece by piece, while it is taken, and zeroes what held it.
Result<void> readPieces(const std::filesystem::path& path,
                        const std::function<bool(std::string_view piece)>& take);

// Whether both hold the same. Fails when the first cannot be read; the other counts as different
// then.
Result<bool> sameContent(const std::filesystem::path& file, const std::filesystem::path& other);

}  // namespace quillon
