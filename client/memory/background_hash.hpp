// The hash of a large file, made while the file is stored.
#pragma once

#include <filesystem>
#include <string>
#include <thread>

namespace quillon {

// Reads the file on a thread of its own, beside the one that sends it: what both read at about the
// same time comes from the disk once. The end of this object ends the thread.
class BackgroundHash {
public:
    explicit BackgroundHash(std::filesystem::path file);

    // Waits for it. Empty where the file could not be read, or no thread was to be had.
    std::string finish();

private:
    std::string hash_;  // the thread's until it was joined
    std::jthread reading_;
};

}  // namespace quillon
