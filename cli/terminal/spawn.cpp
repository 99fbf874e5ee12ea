#include "cli/terminal/spawn.hpp"

#include <spawn.h>
#include <unistd.h>

namespace quillon::cli {
namespace {

std::vector<char*> pointers(const std::vector<std::string>& words) {
    std::vector<char*> list;
    list.reserve(words.size() + 1);
    for (const std::string& word : words) list.push_back(const_cast<char*>(word.c_str()));
    list.push_back(nullptr);
    return list;
}

}  // namespace

int spawn(pid_t& pid, const std::vector<std::string>& words, const SpawnOptions& options) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    for (const auto& [ours, its] : options.descriptors)
        posix_spawn_file_actions_adddup2(&actions, ours, its);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    short flags = POSIX_SPAWN_SETSIGDEF;
    sigset_t defaults;
    sigemptyset(&defaults);
    for (const int number : {SIGPIPE, SIGXFSZ}) sigaddset(&defaults, number);
    for (const int number : options.defaults) sigaddset(&defaults, number);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    if (options.mask != nullptr) {
        posix_spawnattr_setsigmask(&attributes, options.mask);
        flags |= POSIX_SPAWN_SETSIGMASK;
    }
    posix_spawnattr_setflags(&attributes, flags);
    std::vector<std::string> environment(options.moreEnvironment);
    for (char** entry = environ; *entry != nullptr; ++entry) environment.emplace_back(*entry);
    const int failed = posix_spawnp(&pid, words.front().c_str(), &actions, &attributes,
                                    pointers(words).data(), pointers(environment).data());
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    return failed;
}

}  // namespace quillon::cli
