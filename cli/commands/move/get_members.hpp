// Members that quillon get fetches into local files.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "cli/commands/command.hpp"
#include "cli/commands/move/trees.hpp"

namespace quillon::cli {

struct GetOptions {
    std::vector<std::string> urls;
    std::string file;       // -o
    std::string directory;  // -O
    std::string pattern;    // of names in the collections that the URLs are then
    size_t jobs = 0;        // 0: not given
    bool force = false;     // a local file that was changed since does not count
    bool noMemory = false;
    bool startsOver = false;  // what an interrupted run had does not count, and nothing stays
    TreeChoice tree;
};

struct Wanted {
    Address address;
    std::optional<uint64_t> size;  // in bytes, where a listing told it
};

// Each to its place, by -o or under its own name. Gives the exit code, and reports what fails.
int getMembers(Session& session, const std::vector<Wanted>& members, const GetOptions& options);

}  // namespace quillon::cli
