#include "sync/state.hpp"

#include "client/outcome.hpp"
#include "sync/state_rows.hpp"

namespace quillon::sync {
namespace {

namespace fs = std::filesystem;

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

}  // namespace

Deed deedOf(int64_t run, Act act, const std::string& path, std::string oldHash,
            std::string newHash) {
    Deed deed;
    deed.run = run;
    deed.when = timeNow();
    deed.act = act;
    deed.path = path;
    deed.oldHash = std::move(oldHash);
    deed.newHash = std::move(newHash);
    return deed;
}

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
        database->prepareTables(stateTables);
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
    return readAll(database_, "SELECT * FROM copies ORDER BY noted, copy", readCopy);
}

Result<std::vector<KnownVersion>> State::compared() const {
    return readAll(database_, "SELECT * FROM compared ORDER BY path", readCompared);
}

Result<void> State::setCompared(const std::vector<KnownVersion>& compared) {
    return caught([&]() -> Result<void> {
        Transaction transaction(database_);
        writeCompared(database_, compared);
        transaction.commit();
        return {};
    });
}

Result<std::vector<LateFile>> State::late() const {
    return readAll(database_, "SELECT * FROM late ORDER BY name", readLate);
}

Result<int64_t> State::beginRun(Time when) {
    return caught([&]() -> Result<int64_t> {
        Statement(database_, "INSERT INTO runs VALUES (NULL, ?)").run(millisecondsOf(when));
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
        writeChange(database_, change);
        transaction.commit();
        return {};
    });
}

}  // namespace quillon::sync
