#include "sync/state.hpp"

#include <chrono>

#include "client/outcome.hpp"

namespace quillon::sync {
namespace {

namespace fs = std::filesystem;

constexpr int stateVersion = 1;  // of the tables
// Paths, names and hashes are bytes. Kinds and acts are kept by their numbers.
constexpr const char* stateTables =
    "CREATE TABLE settings (name BLOB PRIMARY KEY, value BLOB NOT NULL) WITHOUT ROWID;"
    "CREATE TABLE nodes (path BLOB PRIMARY KEY, kind INTEGER NOT NULL, inode INTEGER NOT NULL,"
    " size INTEGER NOT NULL, modified INTEGER NOT NULL, changed INTEGER NOT NULL,"
    " hash BLOB NOT NULL, segment BLOB NOT NULL, tag BLOB NOT NULL, weak INTEGER NOT NULL,"
    " there_size INTEGER, there_modified INTEGER, file_id BLOB NOT NULL) WITHOUT ROWID;"
    "CREATE TABLE intents (id INTEGER PRIMARY KEY, act INTEGER NOT NULL, path BLOB NOT NULL,"
    " from_path BLOB NOT NULL, hidden BLOB NOT NULL, old_hash BLOB NOT NULL,"
    " new_hash BLOB NOT NULL);"
    "CREATE TABLE runs (id INTEGER PRIMARY KEY AUTOINCREMENT, began INTEGER NOT NULL);"
    "CREATE TABLE deeds (id INTEGER PRIMARY KEY, run INTEGER NOT NULL, done INTEGER NOT NULL,"
    " act INTEGER NOT NULL, path BLOB NOT NULL, from_path BLOB NOT NULL, old_hash BLOB NOT NULL,"
    " new_hash BLOB NOT NULL, folder INTEGER NOT NULL, certain INTEGER NOT NULL,"
    " tag BLOB NOT NULL, weak INTEGER NOT NULL);"
    "CREATE INDEX deeds_run ON deeds (run);"
    "CREATE TABLE failures (path BLOB PRIMARY KEY, why BLOB NOT NULL, times INTEGER NOT NULL,"
    " not_before INTEGER NOT NULL) WITHOUT ROWID;"
    "CREATE TABLE copies (copy BLOB PRIMARY KEY, path BLOB NOT NULL, segment BLOB NOT NULL,"
    " tag BLOB NOT NULL, weak INTEGER NOT NULL, size INTEGER, modified INTEGER,"
    " file_id BLOB NOT NULL, hash BLOB NOT NULL) WITHOUT ROWID;"
    "CREATE TABLE late (name BLOB PRIMARY KEY, path BLOB NOT NULL, hash BLOB NOT NULL,"
    " size INTEGER NOT NULL, modified INTEGER NOT NULL) WITHOUT ROWID;";

int64_t numberOf(Time time) {
    return time.time_since_epoch().count();
}

Time timeFrom(int64_t number) {
    return Time(std::chrono::milliseconds(number));
}

std::optional<int64_t> numberOf(const std::optional<Time>& time) {
    return time ? std::optional(numberOf(*time)) : std::nullopt;
}

// Segment, tag and whether it is weak, size, date, file id, from a column on.
ThereState readThere(const Statement& row, int column) {
    ThereState there{row.bytes(column),
                     {row.bytes(column + 1), row.number(column + 2) != 0},
                     row.optionalNumber<uint64_t>(column + 3)};
    if (const auto date = row.optionalNumber(column + 4)) there.modified = timeFrom(*date);
    there.fileId = row.bytes(column + 5);
    return there;
}

HereState readHere(const Statement& row) {
    return {row.number<uint64_t>(2), row.number<uint64_t>(3), row.number(4), row.number(5),
            row.bytes(6)};
}

BaseNode readNode(const Statement& row) {
    BaseNode node{
        row.number(1) == static_cast<int64_t>(NodeKind::folder) ? NodeKind::folder : NodeKind::file,
        readHere(row), readThere(row, 7)};
    node.there.hash = node.here.hash;
    return node;
}

Intent readIntent(const Statement& row) {
    return {row.number(0), static_cast<Act>(row.number(1)),
            row.bytes(2),  row.bytes(3),
            row.bytes(4),  row.bytes(5),
            row.bytes(6)};
}

Deed readDeed(const Statement& row) {
    Deed deed{row.number(0), row.number(1), timeFrom(row.number(2)),
              static_cast<Act>(row.number(3))};
    deed.path = row.bytes(4);
    deed.from = row.bytes(5);
    deed.oldHash = row.bytes(6);
    deed.newHash = row.bytes(7);
    deed.isFolder = row.number(8) != 0;
    deed.isCertain = row.number(9) != 0;
    deed.newTag = {row.bytes(10), row.number(11) != 0};
    return deed;
}

Failed readFailed(const Statement& row) {
    return {row.bytes(0), row.bytes(1), row.number<unsigned>(2), timeFrom(row.number(3))};
}

ConflictCopy readCopy(const Statement& row) {
    ConflictCopy copy{row.bytes(0), row.bytes(1), readThere(row, 2)};
    copy.there.hash = row.bytes(8);
    return copy;
}

LateFile readLate(const Statement& row) {
    return {row.bytes(0), row.bytes(1), row.bytes(2), row.number<uint64_t>(3), row.number(4)};
}

template <class Row>
std::vector<Row> readRows(Statement& statement, Row (*read)(const Statement&)) {
    std::vector<Row> rows;
    while (statement.step()) rows.push_back(read(statement));
    return rows;
}

template <class Row>
Result<std::vector<Row>> readAll(const Database& database, const char* text,
                                 Row (*read)(const Statement&)) {
    return caught([&]() -> Result<std::vector<Row>> {
        Statement statement(database, text);
        return readRows(statement, read);
    });
}

Result<int64_t> readNumber(const Database& database, const char* text) {
    return caught([&]() -> Result<int64_t> {
        Statement statement(database, text);
        statement.step();
        return statement.number(0);
    });
}

// Runs a statement for each of the items, with the values that give() hands to the function that it
// is given.
template <class Items, class Give>
void runForEach(const Database& database, const char* text, Items& items, Give give) {
    if (items.empty()) return;
    Statement statement(database, text);
    for (auto& item : items) {
        give(item, [&](const auto&... values) { statement.run(values...); });
    }
}

void runForEach(const Database& database, const char* text, const std::vector<std::string>& names) {
    runForEach(database, text, names, [](const std::string& name, auto run) { run(name); });
}

// What is below a path begins with it and a slash, and '0' comes right behind that.
void movePaths(const Database& database,
               const std::vector<std::pair<std::string, std::string>>& moves) {
    runForEach(database,
               "UPDATE OR REPLACE nodes SET path = CAST(?1 || substr(path, ?2) AS BLOB)"
               " WHERE path >= ?3 AND path < ?4",
               moves, [](const auto& move, auto run) {
                   const auto& [from, to] = move;
                   const size_t rest = from.size() + 1;  // counted from 1
                   run(to, rest, from, from + '\0');
                   run(to, rest, from + '/', from + '0');
               });
}

void writeNodes(const Database& database, const StateChange& change) {
    if (change.nodes.empty()) return;
    Statement put(database,
                  "INSERT OR REPLACE INTO nodes VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
    Statement forget(database, "DELETE FROM nodes WHERE path = ?");
    for (const auto& [path, node] : change.nodes) {
        if (!node) {
            forget.run(path);
            continue;
        }
        const HereState& here = node->here;
        const ThereState& there = node->there;
        put.run(path, static_cast<int>(node->kind), here.inode, here.size, here.modifiedNs,
                here.changedNs, here.hash, there.segment, there.tag.text, there.tag.weak,
                there.size, numberOf(there.modified), there.fileId);
    }
}

void writeFailures(const Database& database, const StateChange& change) {
    runForEach(database, "DELETE FROM failures WHERE path = ?", change.mended);
    runForEach(database, "INSERT OR REPLACE INTO failures VALUES (?, ?, ?, ?)", change.failures,
               [](const Failed& failed, auto run) {
                   run(failed.path, failed.why, failed.times, numberOf(failed.notBefore));
               });
}

void writeFiles(const Database& database, const StateChange& change) {
    runForEach(database, "DELETE FROM copies WHERE copy = ?", change.goneCopies);
    runForEach(database, "INSERT OR REPLACE INTO copies VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)",
               change.copies, [](const ConflictCopy& copy, auto run) {
                   const ThereState& there = copy.there;
                   run(copy.copy, copy.path, there.segment, there.tag.text, there.tag.weak,
                       there.size, numberOf(there.modified), there.fileId, there.hash);
               });
    runForEach(database, "DELETE FROM late WHERE name = ?", change.goneLate);
    runForEach(database, "INSERT OR REPLACE INTO late VALUES (?, ?, ?, ?, ?)", change.late,
               [](const LateFile& late, auto run) {
                   run(late.name, late.path, late.hash, late.size, late.modifiedNs);
               });
}

void writeDeeds(const Database& database, const StateChange& change) {
    runForEach(database, "INSERT INTO deeds VALUES (NULL, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)",
               change.deeds, [](const Deed& deed, auto run) {
                   run(deed.run, numberOf(deed.when), static_cast<int>(deed.act), deed.path,
                       deed.from, deed.oldHash, deed.newHash, deed.isFolder, deed.isCertain,
                       deed.newTag.text, deed.newTag.weak);
               });
}

void writeIntents(const Database& database, StateChange& change) {
    runForEach(database, "DELETE FROM intents WHERE id = ?", change.endedIntents,
               [](int64_t id, auto run) { run(id); });
    runForEach(database, "INSERT INTO intents VALUES (NULL, ?, ?, ?, ?, ?, ?)", change.intents,
               [&](Intent& intent, auto run) {
                   run(static_cast<int>(intent.act), intent.path, intent.from, intent.hidden,
                       intent.oldHash, intent.newHash);
                   intent.id = database.lastRow();
               });
}

}  // namespace

bool StateChange::isEmpty() const {
    return intents.empty() && endedIntents.empty() && nodes.empty() && moves.empty() &&
           deeds.empty() && failures.empty() && mended.empty() && copies.empty() &&
           goneCopies.empty() && late.empty() && goneLate.empty();
}

Result<State> State::open(const fs::path& directory) {
    return caught([&]() -> Result<State> {
        auto database = Database::open(directory / "state.db", "The notes of the pair",
                                       Database::Missing::made);
        // As durable without WAL, too, where a file system cannot have that.
        database->execute("PRAGMA synchronous=EXTRA");
        database->prepareTables(stateVersion, stateTables);
        return State(std::move(*database));
    });
}

Result<std::optional<std::string>> State::setting(std::string_view name) const {
    return caught([&]() -> Result<std::optional<std::string>> {
        Statement statement(database_, "SELECT value FROM settings WHERE name = ?");
        if (!statement.bind(name).step()) return std::optional<std::string>();
        return std::optional(statement.bytes(0));
    });
}

Result<void> State::set(std::string_view name, std::string_view value) {
    return caught([&]() -> Result<void> {
        Statement(database_, "INSERT OR REPLACE INTO settings VALUES (?, ?)").run(name, value);
        return {};
    });
}

Result<BaseTree> State::base() const {
    return caught([&]() -> Result<BaseTree> {
        BaseTree tree;
        Statement statement(database_, "SELECT * FROM nodes ORDER BY path");
        while (statement.step()) {
            tree.emplace_hint(tree.end(), statement.bytes(0), readNode(statement));
        }
        return tree;
    });
}

Result<std::optional<BaseNode>> State::node(const std::string& path) const {
    return caught([&]() -> Result<std::optional<BaseNode>> {
        Statement statement(database_, "SELECT * FROM nodes WHERE path = ?");
        if (!statement.bind(path).step()) return std::optional<BaseNode>();
        return std::optional(readNode(statement));
    });
}

Result<std::vector<Intent>> State::intents() const {
    return readAll(database_, "SELECT * FROM intents ORDER BY id", readIntent);
}

Result<std::vector<Deed>> State::deeds(int64_t run) const {
    if (run == 0) return readAll(database_, "SELECT * FROM deeds ORDER BY id", readDeed);
    return caught([&]() -> Result<std::vector<Deed>> {
        Statement statement(database_, "SELECT * FROM deeds WHERE run = ? ORDER BY id");
        return readRows(statement.bind(run), readDeed);
    });
}

Result<std::vector<Failed>> State::failures() const {
    return readAll(database_, "SELECT * FROM failures ORDER BY path", readFailed);
}

Result<std::vector<ConflictCopy>> State::copies() const {
    return readAll(database_, "SELECT * FROM copies ORDER BY copy", readCopy);
}

Result<std::vector<LateFile>> State::late() const {
    return readAll(database_, "SELECT * FROM late ORDER BY name", readLate);
}

Result<int64_t> State::beginRun(Time when) {
    return caught([&]() -> Result<int64_t> {
        Statement(database_, "INSERT INTO runs VALUES (NULL, ?)").run(numberOf(when));
        return database_.lastRow();
    });
}

Result<int64_t> State::lastRun() const {
    return readNumber(database_, "SELECT max(id) FROM runs");
}

Result<void> State::forgetRuns(int64_t keep) {
    return caught([&]() -> Result<void> {
        Transaction transaction(database_);
        Statement(database_, "DELETE FROM runs WHERE id <= (SELECT max(id) FROM runs) - ?")
            .run(keep);
        database_.execute("DELETE FROM deeds WHERE run NOT IN (SELECT id FROM runs)");
        transaction.commit();
        return {};
    });
}

Result<void> State::commit(StateChange& change) {
    return caught([&]() -> Result<void> {
        Transaction transaction(database_);
        movePaths(database_, change.moves);
        writeNodes(database_, change);
        writeFailures(database_, change);
        writeFiles(database_, change);
        writeDeeds(database_, change);
        writeIntents(database_, change);
        transaction.commit();
        return {};
    });
}

}  // namespace quillon::sync
