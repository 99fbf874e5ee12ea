// A file here that gets another content outside of a run, as an undo or a person's choice has it,
// and what becomes of the old one.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "client/tree/local_folder.hpp"
#include "sync/state.hpp"
#include "sync/store.hpp"

namespace quillon::sync {

// What is here under a path.
struct FileHere {
    std::optional<LocalEntry> entry{};  // nothing for nothing
    std::string hash{};                 // ContentHash

    // No regular file, or one that cannot be read: it is not to be replaced.
    bool isUnread() const { return entry && hash.empty(); }
};
Result<FileHere> readFileHere(const LocalFolder& folder, const std::string& path);

// Takes an old file into the store, and notes it in the change, which outlives the taker.
OldFileTaker takeInto(Store& store, std::string path, const FileHere& old, StateChange& change);

// A new file for the path that holds what is in another one.
Result<NewFile> copyToNewFile(const LocalFolder& folder, const std::filesystem::path& content,
                              const std::string& path);

// Puts the file in its place, and the old one, which is read, into the store; both are noted as the
// run's. After a failure in the middle the next run looks at what is left.
Result<void> replaceHere(const LocalFolder& folder, State& state, Store& store,
                         const std::string& path, const FileHere& old, NewFile& file, int64_t run,
                         std::optional<Time> modified);

}  // namespace quillon::sync
