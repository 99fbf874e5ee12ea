// What is remembered of local files: in extended attributes of each, which go where it goes, and by
// its path, which stays when an editor writes it anew.
#pragma once

#include <exception>
#include <filesystem>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "client/memory/file_note.hpp"
#include "client/memory/note_log.hpp"
#include "client/memory/note_store.hpp"

namespace quillon {

// Usable from several threads, while the working directory stays. Nothing here fails: what cannot
// be kept or read is not remembered, which the log tells once. A damaged store is set aside for a
// new one.
class FileMemory {
public:
    // tellDamage: that the store was damaged, in a sentence for the person, once; null: nobody.
    using Tell = std::function<void(const std::string& sentence)>;
    explicit FileMemory(Tell tellDamage = {}) : tellDamage_(std::move(tellDamage)) {}
    FileMemory(const FileMemory&) = delete;
    FileMemory& operator=(const FileMemory&) = delete;
    ~FileMemory() { flush(); }

    std::optional<FileNote> find(const std::filesystem::path& file);
    // file: where it is, or is going to be; open: the same.
    void keep(const std::filesystem::path& file, const vxhost::Descriptor& open,
              const FileNote& note);
    void forget(const std::filesystem::path& file);  // that is gone
    void flush();                                    // what is kept by path, many at once

    // Those by path, of files below a folder.
    void forEachBelow(
        const std::filesystem::path& folder,
        const std::function<void(const std::filesystem::path& file, const FileNote&)>& take);

private:
    std::filesystem::path keyOf(const std::filesystem::path& file);
    template <class Body>
    void attempt(Body&& body);
    void add(NoteStore::Change change);
    void flushLocked();
    std::optional<LoggedNotes> readLog();
    // With what is logged in it. Null: there is none.
    NoteStore* openLocked(NoteStore::Missing missing, std::optional<LoggedNotes>& logged);
    // use: with the store, unless there is none; again with a new one where it turns out to be
    // damaged.
    template <class Use>
    void useStore(NoteStore::Missing missing, std::optional<LoggedNotes> logged, Use&& use);
    void replaceDamaged();
    void tellNotRemembered(const std::exception& problem);

    std::mutex mutex_;
    std::optional<NoteStore> store_;  // once it was needed
    std::vector<NoteStore::Change> waiting_;
    Tell tellDamage_;
    bool toldOnce_ = false;
    std::optional<std::string> folder_;  // of the latest key, as it was given
    std::filesystem::path resolvedFolder_;
};

}  // namespace quillon
