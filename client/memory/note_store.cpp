#include "client/memory/note_store.hpp"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>

#include <chrono>
#include <string_view>

#include "client/own_file.hpp"
#include "platform/files/directories.hpp"

namespace quillon {
namespace {

namespace fs = std::filesystem;

constexpr int version = 1;  // of the tables
constexpr int waitMilliseconds = 5000;
// What is gone so long is no disk that comes back; each writing looks at so many files.
constexpr int64_t longestGone = int64_t{90} * 24 * 3600;  // seconds
constexpr int mostChecked = 16;

int64_t now() {
    return std::chrono::duration_cast<std::chrono::seconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

void check(sqlite3* database, int result) {
    if (result == SQLITE_OK || result == SQLITE_ROW || result == SQLITE_DONE) return;
    throw vxhost::Failure(vxhost::FSBOX_IO, std::string("The notes of files cannot be used: ") +
                                                sqlite3_errmsg(database));
}

void execute(sqlite3* database, const char* text) {
    check(database, sqlite3_exec(database, text, nullptr, nullptr, nullptr));
}

class Statement {
public:
    Statement(sqlite3* database, const char* text) : database_(database) {
        check(database, sqlite3_prepare_v2(database, text, -1, &statement_, nullptr));
    }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;
    ~Statement() { sqlite3_finalize(statement_); }

    // The texts stay the caller's, and as they are, until the next reset.
    Statement& bind(int at, std::string_view bytes) {
        check(database_,
              sqlite3_bind_blob64(statement_, at, bytes.data(), bytes.size(), SQLITE_STATIC));
        return *this;
    }
    Statement& bind(int at, int64_t number) {
        check(database_, sqlite3_bind_int64(statement_, at, number));
        return *this;
    }
    bool step() {
        const int result = sqlite3_step(statement_);
        check(database_, result);
        return result == SQLITE_ROW;
    }
    void run() {
        step();
        sqlite3_reset(statement_);
    }
    std::string bytes(int column) const {
        const auto* data = static_cast<const char*>(sqlite3_column_blob(statement_, column));
        return {data, data + sqlite3_column_bytes(statement_, column)};
    }
    int64_t number(int column) const { return sqlite3_column_int64(statement_, column); }

private:
    sqlite3* database_;
    sqlite3_stmt* statement_ = nullptr;
};

bool isGone(const std::string& path) {
    struct stat found {};
    return lstat(path.c_str(), &found) != 0 && (errno == ENOENT || errno == ENOTDIR);
}

// Ended by commit(), or taken back.
class Transaction {
public:
    explicit Transaction(sqlite3* database) : database_(database) {
        execute(database, "BEGIN IMMEDIATE");
    }
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;
    ~Transaction() {
        if (database_) sqlite3_exec(database_, "ROLLBACK", nullptr, nullptr, nullptr);
    }
    void commit() {
        execute(database_, "COMMIT");
        database_ = nullptr;
    }

private:
    sqlite3* database_;
};

}  // namespace

void NoteStore::Closer::operator()(sqlite3* database) const {
    sqlite3_close(database);
}

std::optional<NoteStore> NoteStore::open(Missing missing) {
    const fs::path path = stateDirectory() / "notes.db";
    if (missing == Missing::made) vxhost::makePrivateDirectories(path.parent_path());
    vxhost::checkOwnDirectory(path.parent_path());
    // With the mode that the files beside it get, too.
    const int create = missing == Missing::made ? O_CREAT : 0;
    const int file = ::open(path.c_str(), O_RDWR | O_NOFOLLOW | O_CLOEXEC | create, 0600);
    if (file < 0 && errno == ENOENT) return std::nullopt;
    (void)vxhost::Descriptor(file, "Cannot write " + path.string());
    sqlite3* database = nullptr;
    const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOFOLLOW | SQLITE_OPEN_NOMUTEX;
    const int result = sqlite3_open_v2(path.c_str(), &database, flags, nullptr);
    NoteStore store(database);
    check(database, result);
    sqlite3_busy_timeout(database, waitMilliseconds);
    // Who loses the latest notes in a power cut is asked once more than needed: no command waits
    // for the disk. What they wrote goes into the database itself once it is much.
    sqlite3_db_config(database, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    execute(database, "PRAGMA synchronous=NORMAL");
    store.prepareTables();
    return store;
}

void NoteStore::prepareTables() {
    sqlite3* database = database_.get();
    const auto found = [&] {
        Statement statement(database, "PRAGMA user_version");
        statement.step();
        return statement.number(0);
    };
    if (found() == version) return;
    if (found() > version) {
        throw vxhost::Failure(vxhost::FSBOX_DENIED,
                              "The notes of files were written by a later quillon; use that, or "
                              "move " +
                                  (stateDirectory() / "notes.db").string() + " away");
    }
    // A reader does not wait for a writer then. Not every file system can; it stays as it was
    // there.
    sqlite3_exec(database, "PRAGMA journal_mode=WAL", nullptr, nullptr, nullptr);
    Transaction transaction(database);
    execute(database,
            "CREATE TABLE IF NOT EXISTS notes (path BLOB PRIMARY KEY, note BLOB NOT NULL,"
            " seen INTEGER NOT NULL) WITHOUT ROWID;"
            "CREATE INDEX IF NOT EXISTS notes_seen ON notes (seen);"
            "PRAGMA user_version = 1");
    transaction.commit();
}

std::optional<FileNote> NoteStore::find(const fs::path& file) const {
    Statement statement(database_.get(), "SELECT note FROM notes WHERE path = ?");
    if (!statement.bind(1, file.native()).step()) return std::nullopt;
    return parseNote(statement.bytes(0));
}

void NoteStore::forEachBelow(
    const fs::path& folder,
    const std::function<void(const fs::path& file, const FileNote&)>& take) const {
    // What is below begins with the folder and a slash, and '0' comes right behind that.
    const std::string first = folder.native() + '/', end = folder.native() + '0';
    Statement statement(database_.get(),
                        "SELECT path, note FROM notes WHERE path >= ? AND path < ? ORDER BY path");
    statement.bind(1, first).bind(2, end);
    while (statement.step()) {
        if (const auto note = parseNote(statement.bytes(1))) take(statement.bytes(0), *note);
    }
}

void NoteStore::write(const std::vector<Change>& changes) {
    sqlite3* database = database_.get();
    Transaction transaction(database);
    Statement put(database, "INSERT OR REPLACE INTO notes (path, note, seen) VALUES (?, ?, ?)");
    Statement remove(database, "DELETE FROM notes WHERE path = ?");
    for (const auto& [path, note] : changes) {
        if (note) {
            const std::string text = textOf(*note);
            put.bind(1, path.native()).bind(2, text).bind(3, now()).run();
        } else {
            remove.bind(1, path.native()).run();
        }
    }
    removeOld();
    transaction.commit();
}

void NoteStore::removeOld() {
    sqlite3* database = database_.get();
    std::vector<std::string> paths;
    {
        Statement oldest(database, "SELECT path FROM notes WHERE seen < ? ORDER BY seen LIMIT ?");
        oldest.bind(1, now() - longestGone).bind(2, mostChecked);
        while (oldest.step()) paths.push_back(oldest.bytes(0));
    }
    Statement remove(database, "DELETE FROM notes WHERE path = ?");
    Statement refresh(database, "UPDATE notes SET seen = ? WHERE path = ?");
    for (const std::string& path : paths) {
        if (isGone(path)) {
            remove.bind(1, path).run();
        } else {
            refresh.bind(1, now()).bind(2, path).run();
        }
    }
}

}  // namespace quillon
