#include "client/memory/database.hpp"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "platform/base/descriptor.hpp"
#include "platform/base/system_failure.hpp"
#include "platform/files/directories.hpp"
#include "platform/files/rename.hpp"
#include "platform/files/wait_for_lock.hpp"
#include "platform/text/url.hpp"

namespace quillon {
namespace {

namespace fs = std::filesystem;

constexpr int waitMilliseconds = 5000;
constexpr uint64_t leastRoom = uint64_t{64} << 10;  // in bytes, for what SQLite puts beside it

bool isDamaged(const fs::path& path) {
    try {
        const auto database = Database::open(path, "What", Database::Missing::left);
        if (!database) return false;
        Statement check(*database, "PRAGMA quick_check(1)");
        return !check.step() || check.bytes(0) != "ok";
    } catch (const DamagedDatabase&) {
        return true;
    }
}

fs::path freeNameBeside(const fs::path& path) {
    for (int number = 1;; ++number) {
        fs::path name = path.string() + ".damaged";
        if (number > 1) name += "-" + std::to_string(number);
        std::error_code none;
        if (!fs::exists(fs::symlink_status(name, none))) return name;
    }
}

struct statvfs diskOf(const fs::path& path) {
    struct statvfs disk {};
    if (statvfs(path.parent_path().c_str(), &disk) != 0) disk.f_bavail = leastRoom;
    return disk;
}

bool isFull(const fs::path& path) {
    const struct statvfs disk = diskOf(path);
    return disk.f_frsize > 0 && disk.f_bavail < leastRoom / disk.f_frsize;
}

bool isReadOnly(const fs::path& path) {
    return (diskOf(path).f_flag & ST_RDONLY) != 0;
}

// Not by opening it: who closes it again gives up the locks of all connections of this process.
// False: nothing is there.
bool isWritable(const fs::path& path) {
    if (faccessat(AT_FDCWD, path.c_str(), R_OK | W_OK, AT_EACCESS) == 0) return true;
    if (errno == ENOENT) return false;
    vxhost::throwSystemFailure(errno, "Cannot write " + path.string());
}

// With the mode that the files beside it get, too. True, also where somebody else was faster.
bool make(const fs::path& path) {
    const int file = ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (file < 0 && errno == EEXIST) return true;
    (void)vxhost::Descriptor(file, "Cannot write " + path.string());
    return true;
}

}  // namespace

std::optional<fs::path> setAsideDamaged(const fs::path& path) {
    const fs::path folder = path.parent_path();
    const vxhost::Descriptor alone(folder.string(), O_RDONLY | O_DIRECTORY);
    vxhost::waitForLock(alone, folder);
    if (!isDamaged(path)) return std::nullopt;
    fs::path aside = freeNameBeside(path);
    // What was logged is not to go into a new database, so that this comes last.
    for (const char* part : {"-wal", "-shm", ""}) {
        std::error_code none;
        const std::string from = path.string() + part;
        if (fs::exists(from, none)) vxhost::renameToFree(AT_FDCWD, from, aside.string() + part);
    }
    return aside;
}

void Database::Closer::operator()(sqlite3* database) const {
    sqlite3_close(database);
}

std::optional<Database> Database::open(fs::path path, std::string what, Missing missing) {
    if (missing == Missing::made) vxhost::makePrivateDirectories(path.parent_path());
    vxhost::checkOwnDirectory(path.parent_path());
    if (!isWritable(path) && !(missing == Missing::made && make(path))) return std::nullopt;
    // SQLite would refuse a link above the directory, too, such as that of a home.
    std::error_code none;
    const fs::path directory = fs::canonical(path.parent_path(), none);
    if (!none) path = directory / path.filename();
    Database database(std::move(path), std::move(what));
    database.connect(database.path_.native(), SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOFOLLOW);
    return database;
}

std::optional<Database> Database::openUnwritable(fs::path path, std::string what, std::string why) {
    std::error_code none;
    const auto logged = fs::file_size(path.string() + "-wal", none);
    const bool isInUse = !none && logged > 0;
    if (isInUse || !(isFull(path) || isReadOnly(path))) return std::nullopt;
    // Else SQLite would put a file beside it.
    const std::string name = "file:" + vxhost::encodeSegment(path.native()) + "?immutable=1";
    Database database(std::move(path), std::move(what));
    database.unwritable_ = std::move(why);
    database.connect(name, SQLITE_OPEN_READONLY | SQLITE_OPEN_URI);
    return database;
}

void Database::connect(const std::string& name, int flags) {
    sqlite3* connection = nullptr;
    const int result =
        sqlite3_open_v2(name.c_str(), &connection, flags | SQLITE_OPEN_NOMUTEX, nullptr);
    connection_.reset(connection);
    check(result);
    sqlite3_busy_timeout(connection, waitMilliseconds);
}

void Database::prepareTables(std::span<const char* const> steps) const {
    const auto found = [&] {
        Statement statement(*this, "PRAGMA user_version");
        statement.step();
        return statement.number(0);
    };
    const auto version = static_cast<int64_t>(steps.size());
    if (found() == version) return;
    if (found() > version) {
        throw vxhost::Failure(vxhost::FSBOX_DENIED,
                              what_ + " were written by a later quillon; use that, or move " +
                                  path_.string() + " away");
    }
    // A reader does not wait for a writer then. Not every file system can; it stays as it was
    // there.
    sqlite3_exec(connection_.get(), "PRAGMA journal_mode=WAL", nullptr, nullptr, nullptr);
    Transaction transaction(*this);
    // Asked again: another process may have been faster.
    for (const char* step : steps.subspan(static_cast<size_t>(found()))) execute(step);
    execute(("PRAGMA user_version = " + std::to_string(version)).c_str());
    transaction.commit();
}

void Database::leaveLogOnClose(uintmax_t most) const {
    std::error_code none;
    const fs::path log = path_.string() + "-wal";
    if (fs::exists(log, none) && fs::file_size(log, none) > most) return;
    sqlite3_db_config(connection_.get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
}

void Database::execute(const char* text) const {
    check(sqlite3_exec(connection_.get(), text, nullptr, nullptr, nullptr));
}

int64_t Database::lastRow() const {
    return sqlite3_last_insert_rowid(connection_.get());
}

void Database::check(int result) const {
    if (result == SQLITE_OK || result == SQLITE_ROW || result == SQLITE_DONE) return;
    const int kind = result & 0xFF;  // the rest is of one kind
    const std::string cannot = what_ + " in " + path_.string() + " cannot be used: ";
    if (lacksRoom(kind)) {
        throw vxhost::Failure(vxhost::FSBOX_NO_SPACE, cannot + "no room is left on its disk");
    }
    if (kind == SQLITE_READONLY && !unwritable_.empty()) {
        throw vxhost::Failure(vxhost::FSBOX_DENIED, unwritable_);
    }
    const std::string why = cannot + sqlite3_errmsg(connection_.get());
    if (kind == SQLITE_CORRUPT || kind == SQLITE_NOTADB) {
        throw DamagedDatabase(vxhost::FSBOX_IO, why);
    }
    throw vxhost::Failure(vxhost::FSBOX_IO, why);
}

// SQLite says no more than "disk I/O error" of some of its files.
bool Database::lacksRoom(int kind) const {
    if (kind == SQLITE_FULL) return true;
    if (kind != SQLITE_IOERR && kind != SQLITE_CANTOPEN) return false;
    const int error = sqlite3_system_errno(connection_.get());
    return error == ENOSPC || error == EDQUOT || isFull(path_);
}

Statement::Statement(const Database& database, const char* text) : database_(database) {
    database.check(sqlite3_prepare_v2(database.connection_.get(), text, -1, &statement_, nullptr));
}

Statement::~Statement() {
    sqlite3_finalize(statement_);
}

void Statement::bindOne(int at, std::string_view bytes) {
    database_.check(sqlite3_bind_blob64(statement_, at, bytes.data(), bytes.size(), SQLITE_STATIC));
}

void Statement::bindInteger(int at, int64_t number) {
    database_.check(sqlite3_bind_int64(statement_, at, number));
}

void Statement::bindNull(int at) {
    database_.check(sqlite3_bind_null(statement_, at));
}

bool Statement::step() {
    const int result = sqlite3_step(statement_);
    database_.check(result);
    return result == SQLITE_ROW;
}

void Statement::reset() {
    sqlite3_reset(statement_);
}

std::string Statement::bytes(int column) const {
    const auto* data = static_cast<const char*>(sqlite3_column_blob(statement_, column));
    return {data, data + sqlite3_column_bytes(statement_, column)};
}

int64_t Statement::integer(int column) const {
    return sqlite3_column_int64(statement_, column);
}

bool Statement::isNull(int column) const {
    return sqlite3_column_type(statement_, column) == SQLITE_NULL;
}

Transaction::Transaction(const Database& database) : database_(database) {
    database.execute("BEGIN IMMEDIATE");
}

Transaction::~Transaction() {
    if (!isOpen_) return;
    sqlite3_exec(database_.connection_.get(), "ROLLBACK", nullptr, nullptr, nullptr);
}

void Transaction::commit() {
    database_.execute("COMMIT");
    isOpen_ = false;
}

}  // namespace quillon
