// Files of the person's own, such as a configuration.
#pragma once

#include <filesystem>
#include <memory>
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
// symbolic link stays and its target is replaced.
Result<void> replaceOwnFile(const std::filesystem::path& path, std::string_view content);

// Keeps other programs out that take the same lock: until the end of the scope, or of the process.
class OwnFileLock {
public:
    // Makes the directories that are missing, mode 0700, and waits for its turn. Fails with
    // Kind::interrupted when a signal handler runs meanwhile.
    static Result<OwnFileLock> acquire(const std::filesystem::path& path);

private:
    struct Held;
    explicit OwnFileLock(std::shared_ptr<Held> held) : held_(std::move(held)) {}
    std::shared_ptr<Held> held_;
};

}  // namespace quillon
