// The latest notes of files, in $XDG_STATE_HOME/quillon/notes.log, until the store takes them in.
// To open that would cost a command that notes one file more than the rest of its work.
#pragma once

#include <filesystem>
#include <optional>
#include <vector>

#include "client/memory/note_store.hpp"
#include "platform/base/descriptor.hpp"

namespace quillon {

// Processes wait for one another. Everything throws a Failure.

// False: too many are there already, and nothing was written.
bool logNotes(const std::vector<NoteStore::Change>& changes);

// What is logged, read once. Other processes log nothing and read nothing while it is there.
class LoggedNotes {
public:
    // Nothing where nothing is logged. Makes nothing.
    static std::optional<LoggedNotes> read();

    // The latest of a file: nothing in it where the file was forgotten. Null: nothing of it is
    // logged.
    const std::optional<FileNote>* find(const std::filesystem::path& file) const;
    // In their order.
    const std::vector<NoteStore::Change>& changes() const { return changes_; }
    void clear();  // once they are elsewhere

private:
    explicit LoggedNotes(vxhost::Descriptor file);

    vxhost::Descriptor file_;
    std::vector<NoteStore::Change> changes_;
};

}  // namespace quillon
