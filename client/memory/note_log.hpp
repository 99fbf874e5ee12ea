// The latest notes of files, in $XDG_STATE_HOME/quillon/notes.log, until the store takes them in.
// To open that would cost a command that notes one file more than the rest of its work.
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <vector>

#include "client/memory/note_store.hpp"

namespace quillon {

// Processes wait for one another. Everything throws a Failure.

// False: too many are there already, and nothing was written.
bool logNotes(const std::vector<NoteStore::Change>& changes);

// The latest that is there of a file, which is nothing where it was forgotten. Asks for no lock,
// and makes nothing.
std::optional<std::optional<FileNote>> findLoggedNote(const std::filesystem::path& file);

bool hasLoggedNotes();

// Hands them out in their order. They are gone once that has returned; what breaks off meanwhile
// hands them out again.
void takeLoggedNotes(const std::function<void(const std::vector<NoteStore::Change>&)>& take);

}  // namespace quillon
