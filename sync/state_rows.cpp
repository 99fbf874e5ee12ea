#include "sync/state_rows.hpp"

#include <chrono>

namespace quillon::sync {
namespace {

Time timeFrom(int64_t number) {
    return Time(std::chrono::milliseconds(number));
}

std::optional<int64_t> optionalMilliseconds(const std::optional<Time>& time) {
    return time ? std::optional(millisecondsOf(*time)) : std::nullopt;
}

// Segment, tag and whether it is weak, size, date, file id, how it is dated, from a column on.
ThereState readThere(const Statement& row, int column) {
    ThereState there{row.bytes(column),
                     {row.bytes(column + 1), row.number(column + 2) != 0},
                     row.optionalNumber<uint64_t>(column + 3)};
    if (const auto date = row.optionalNumber(column + 4)) there.modified = timeFrom(*date);
    there.fileId = row.bytes(column + 5);
    there.isLikely = row.number(column + 6) != 0;
    return there;
}

HereState readHere(const Statement& row) {
    return {row.number<uint64_t>(2), row.number<uint64_t>(3), row.number(4), row.number(5),
            row.bytes(6)};
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
                  "INSERT OR REPLACE INTO nodes VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
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
                there.size, optionalMilliseconds(there.modified), there.fileId, there.isLikely);
    }
}

void writeFailures(const Database& database, const StateChange& change) {
    runForEach(database, "DELETE FROM failures WHERE path = ?", change.mended);
    runForEach(database, "INSERT OR REPLACE INTO failures VALUES (?, ?, ?, ?)", change.failures,
               [](const Failed& failed, auto run) {
                   run(failed.path, failed.why, failed.times, millisecondsOf(failed.notBefore));
               });
}

void writeFiles(const Database& database, const StateChange& change) {
    runForEach(database, "DELETE FROM copies WHERE copy = ?", change.goneCopies);
    runForEach(database,
               "INSERT OR REPLACE INTO copies VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?,"
               " (SELECT COALESCE(MAX(noted), 0) + 1 FROM copies))",
               change.copies, [](const ConflictCopy& copy, auto run) {
                   const ThereState& there = copy.there;
                   run(copy.copy, copy.path, there.segment, there.tag.text, there.tag.weak,
                       there.size, optionalMilliseconds(there.modified), there.fileId,
                       there.isLikely, there.hash);
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
                   run(deed.run, millisecondsOf(deed.when), static_cast<int>(deed.act), deed.path,
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

// Paths, names and hashes are bytes. Kinds and acts are kept by their numbers.
const std::array<const char*, 4> stateTables{
    "CREATE TABLE settings (name BLOB PRIMARY KEY, value BLOB NOT NULL) WITHOUT ROWID;"
    "CREATE TABLE nodes (path BLOB PRIMARY KEY, kind INTEGER NOT NULL, inode INTEGER NOT NULL,"
    " size INTEGER NOT NULL, modified INTEGER NOT NULL, changed INTEGER NOT NULL,"
    " hash BLOB NOT NULL, segment BLOB NOT NULL, tag BLOB NOT NULL, weak INTEGER NOT NULL,"
    " there_size INTEGER, there_modified INTEGER, file_id BLOB NOT NULL,"
    " likely INTEGER NOT NULL) WITHOUT ROWID;"
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
    " file_id BLOB NOT NULL, likely INTEGER NOT NULL, hash BLOB NOT NULL) WITHOUT ROWID;"
    "CREATE TABLE late (name BLOB PRIMARY KEY, path BLOB NOT NULL, hash BLOB NOT NULL,"
    " size INTEGER NOT NULL, modified INTEGER NOT NULL) WITHOUT ROWID;",
    "CREATE TABLE compared (path BLOB PRIMARY KEY, segment BLOB NOT NULL, tag BLOB NOT NULL,"
    " weak INTEGER NOT NULL, size INTEGER, modified INTEGER, file_id BLOB NOT NULL,"
    " likely INTEGER NOT NULL, hash BLOB NOT NULL) WITHOUT ROWID;",
    "ALTER TABLE copies ADD COLUMN noted INTEGER NOT NULL DEFAULT 0;",
    "ALTER TABLE runs ADD COLUMN undoes INTEGER NOT NULL DEFAULT 0;"};

int64_t millisecondsOf(Time time) {
    return time.time_since_epoch().count();
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
    copy.there.hash = row.bytes(9);
    return copy;
}

KnownVersion readCompared(const Statement& row) {
    KnownVersion version{row.bytes(0), readThere(row, 1)};
    version.there.hash = row.bytes(8);
    return version;
}

LateFile readLate(const Statement& row) {
    return {row.bytes(0), row.bytes(1), row.bytes(2), row.number<uint64_t>(3), row.number(4)};
}

void writeChange(const Database& database, StateChange& change) {
    movePaths(database, change.moves);
    writeNodes(database, change);
    writeFailures(database, change);
    writeFiles(database, change);
    writeDeeds(database, change);
    writeIntents(database, change);
}

void writeCompared(const Database& database, const std::vector<KnownVersion>& compared) {
    database.execute("DELETE FROM compared");
    runForEach(database, "INSERT INTO compared VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)", compared,
               [](const KnownVersion& version, auto run) {
                   const ThereState& there = version.there;
                   run(version.path, there.segment, there.tag.text, there.tag.weak, there.size,
                       optionalMilliseconds(there.modified), there.fileId, there.isLikely,
                       there.hash);
               });
}

}  // namespace quillon::sync
