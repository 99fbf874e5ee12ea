// Local files that are put in place whole or not at all. Everything throws a Failure. Where one is
// a pipe or a device, a signal handler that runs while it makes us wait ends that.
#pragma once

#include <sys/types.h>

#include <ctime>
#include <filesystem>
#include <optional>

namespace vxhost {

// Who chose a destination. What a person named is written to as it is. Under a name that came from
// elsewhere a symbolic link is followed when it is the person's own, and only a regular file is
// replaced; anything else is refused, for it was put there to be written to by mistake.
enum class Naming : bool { byPerson, byOthers };

// The permissions that the umask leaves.
mode_t modeOfNewFiles();

// Where a file for the destination goes: links that lead to something are followed, one that leads
// to nothing is the place itself, and one that cannot be followed is refused.
std::filesystem::path resolvePlace(const std::filesystem::path& destination, Naming naming);

// Moves a file to its destination: by a rename on one file system, else by a copy beside the
// destination and a rename. A symbolic link at the destination stays, its target is replaced; what
// is there and no regular file (a pipe, a device) gets the content written into it. A file that is
// replaced leaves its permissions to the new one, which is on the disk before; a new one gets those
// that the umask leaves. The source is gone after a rename, and the destination as it was after a
// failure.
void placeFile(const std::filesystem::path& source, const std::filesystem::path& destination,
               Naming naming, const std::optional<timespec>& modified);

// Makes the path stand for the source's content: by a symbolic link, or, where the source is no
// regular file or links are not to be had, by a copy. /dev/stdin is read on from where it stands.
void linkOrCopy(const std::filesystem::path& source, const std::filesystem::path& path);

}  // namespace vxhost
