// Directories of the person's own (XDG base directories) and of the running program.
#pragma once

#include <filesystem>

namespace vxhost {

// Of the directories in cacheHome() that are held while they are in use (living_directory.hpp).
inline constexpr const char* cachePrefix = "cache-";

std::filesystem::path cacheHome();   // $XDG_CACHE_HOME/quillon, else ~/.cache/quillon
std::filesystem::path configHome();  // $XDG_CONFIG_HOME/quillon, else ~/.config/quillon
std::filesystem::path stateHome();   // $XDG_STATE_HOME/quillon, else ~/.local/state/quillon

// Makes what is missing of the path, mode 0700 each, and checks the directory. Throws a Failure.
void makePrivateDirectories(const std::filesystem::path& directory);

// Throws a Failure when the directory is there and, links followed, is another's or one that others
// can write: they could put files of theirs in the place of ours.
void checkOwnDirectory(const std::filesystem::path& directory);

}  // namespace vxhost
