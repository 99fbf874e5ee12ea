// Files of the person's own, such as a configuration.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "client/result.hpp"

namespace quillon {

// Where quillon keeps its configuration and the key of stored passwords:
// $XDG_CONFIG_HOME/quillon, else ~/.config/quillon.
std::filesystem::path configDirectory();

// What it notes for itself: $XDG_STATE_HOME/quillon, else ~/.local/state/quillon.
std::filesystem::path stateDirectory();

struct OwnText {
    std::string text;
    bool readByOthers = false;  // group or others may
};

// Nothing when there is no such file. Refuses one that somebody else owns or can write.
Result<std::optional<OwnText>> readOwnFile(const std::filesystem::path& path);

// The new content, complete on the disk, with mode 0600; after a failure the old file is whole. A
// symbolic link stays and its target is replaced; directories that are missing get mode 0700.
Result<void> replaceOwnFile(const std::filesystem::path& path, std::string_view content);

}  // namespace quillon
