// A single file, or the standard input, that quillon put stores.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/commands/command.hpp"
#include "cli/commands/move/trees.hpp"
#include "client/memory/file_memory.hpp"

namespace quillon::cli {

inline constexpr std::string_view standardInput = "-";

struct PutOptions {
    std::vector<std::string> operands;  // the last is the URL
    std::optional<Time> unchangedSince;
    bool force = false;
    bool noMemory = false;
    bool stream = false;  // the standard input, as it comes
    std::string token;    // of the lock under which a single one goes
    size_t jobs = 0;      // 0: not given
    TreeChoice tree;
};

// Whether what is there may go by --if-unchanged-since. modified: of what is there.
Result<void> checkUnchanged(std::optional<Time> modified, std::optional<Time> limit);

// Both give the exit code, and report what fails. memory: null for none.
int put(Session& session, const std::string& file, const Address& address,
        const PutOptions& options, FileMemory* memory);
// The standard input as it comes.
int putStream(Session& session, const Address& address, const PutOptions& options);

}  // namespace quillon::cli
