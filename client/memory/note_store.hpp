// Notes of files by their paths, in $XDG_STATE_HOME/quillon/notes.db: there they outlive editors
// that write a file anew.
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "client/memory/database.hpp"
#include "client/memory/file_note.hpp"

namespace quillon {

// For one thread at a time; processes wait for one another. Everything throws a Failure. Paths are
// absolute, in bytes.
class NoteStore {
public:
    using Missing = Database::Missing;
    // Nothing when there is none and none is to be made.
    static std::optional<NoteStore> open(Missing missing);
    static std::filesystem::path path();

    std::optional<FileNote> find(const std::filesystem::path& file) const;
    // Those of files below a folder, by their paths.
    void forEachBelow(
        const std::filesystem::path& folder,
        const std::function<void(const std::filesystem::path& file, const FileNote&)>& take) const;

    // All of them or none. A note that is nothing is removed.
    using Change = std::pair<std::filesystem::path, std::optional<FileNote>>;
    void write(const std::vector<Change>& changes);

private:
    explicit NoteStore(Database database) : database_(std::move(database)) {}
    void removeOld();

    Database database_;
};

}  // namespace quillon
