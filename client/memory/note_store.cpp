#include "client/memory/note_store.hpp"

#include <sys/stat.h>

#include <cerrno>
#include <chrono>

#include "client/own_file.hpp"

namespace quillon {
namespace {

namespace fs = std::filesystem;

constexpr const char* tables[] = {
    "CREATE TABLE IF NOT EXISTS notes (path BLOB PRIMARY KEY, note BLOB NOT NULL,"
    " seen INTEGER NOT NULL) WITHOUT ROWID;"
    "CREATE INDEX IF NOT EXISTS notes_seen ON notes (seen);"};
// What is gone so long is no disk that comes back; each writing looks at so many files.
constexpr int64_t longestGone = int64_t{90} * 24 * 3600;  // seconds
constexpr int mostChecked = 16;
constexpr uintmax_t mostLogBytes = 256 << 10;

int64_t now() {
    return std::chrono::duration_cast<std::chrono::seconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

bool isGone(const std::string& path) {
    struct stat found {};
    return lstat(path.c_str(), &found) != 0 && (errno == ENOENT || errno == ENOTDIR);
}

}  // namespace

fs::path NoteStore::path() {
    return stateDirectory() / "notes.db";
}

std::optional<NoteStore> NoteStore::open(Missing missing) {
    auto database = Database::open(path(), "The notes of files", missing);
    if (!database) return std::nullopt;
    // Who loses the latest notes in a power cut is asked once more than needed: no command waits
    // for the disk. What they wrote goes into the database itself once it is much, and not later,
    // since each command reads all of it.
    database->leaveLogOnClose(mostLogBytes);
    database->execute("PRAGMA synchronous=NORMAL");
    database->prepareTables(tables);
    return NoteStore(std::move(*database));
}

std::optional<FileNote> NoteStore::find(const fs::path& file) const {
    Statement statement(database_, "SELECT note FROM notes WHERE path = ?");
    if (!statement.bind(file.native()).step()) return std::nullopt;
    return parseNote(statement.bytes(0));
}

void NoteStore::forEachBelow(
    const fs::path& folder,
    const std::function<void(const fs::path& file, const FileNote&)>& take) const {
    // What is below begins with the folder and a slash, and '0' comes right behind that.
    const std::string first = folder.native() + '/', end = folder.native() + '0';
    Statement statement(database_,
                        "SELECT path, note FROM notes WHERE path >= ? AND path < ? ORDER BY path");
    statement.bind(first, end);
    while (statement.step()) {
        if (const auto note = parseNote(statement.bytes(1))) take(statement.bytes(0), *note);
    }
}

void NoteStore::write(const std::vector<Change>& changes) {
    Transaction transaction(database_);
    Statement put(database_,
                  "INSERT INTO notes (path, note, seen) VALUES (?, ?, ?) ON CONFLICT (path)"
                  " DO UPDATE SET note = excluded.note, seen = excluded.seen");
    Statement remove(database_, "DELETE FROM notes WHERE path = ?");
    for (const auto& [path, note] : changes) {
        if (note) {
            const std::string text = textOf(*note);
            put.run(path.native(), text, now());
        } else {
            remove.run(path.native());
        }
    }
    removeOld();
    transaction.commit();
}

void NoteStore::removeOld() {
    std::vector<std::string> paths;
    {
        Statement oldest(database_, "SELECT path FROM notes WHERE seen < ? ORDER BY seen LIMIT ?");
        oldest.bind(now() - longestGone, mostChecked);
        while (oldest.step()) paths.push_back(oldest.bytes(0));
    }
    Statement remove(database_, "DELETE FROM notes WHERE path = ?");
    Statement refresh(database_, "UPDATE notes SET seen = ? WHERE path = ?");
    for (const std::string& path : paths) {
        if (isGone(path)) {
            remove.run(path);
        } else {
            refresh.run(now(), path);
        }
    }
}

}  // namespace quillon
