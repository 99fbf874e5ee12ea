// Other programs, started.
#pragma once

#include <signal.h>
#include <sys/types.h>

#include <string>
#include <utility>
#include <vector>

namespace quillon::cli {

struct SpawnOptions {
    // One of ours, and what it is there: beside the standard streams it inherits these alone.
    std::vector<std::pair<int, int>> descriptors{};
    std::vector<int> defaults{};  // signals that we ignore, and it does not; SIGPIPE is among them
    const sigset_t* mask = nullptr;              // of its signals; null: ours
    std::vector<std::string> moreEnvironment{};  // "NAME=value"
};

// Starts the words, the program first, which is looked up in PATH; without a shell. 0 or an errno.
int spawn(pid_t& pid, const std::vector<std::string>& words, const SpawnOptions& options);

}  // namespace quillon::cli
