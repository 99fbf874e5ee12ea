#include "sync/state.hpp"

#include <fmt/format.h>

#include "client/outcome.hpp"
#include "sync/state_rows.hpp"

namespace quillon::sync {
namespace {

namespace fs = std::filesystem;

constexpr const char* databaseName = "state.db";
constexpr const char* databaseHolds = "The notes of the pair";

template <class Row>
std::vector<Row> readRows(Statement& statement, Row (*read)(const Statement&)) {
    std::vector<Row> rows;
    while (statement.step()) rows.push_back(read(statement));
    return rows;
}

// Give what is to be done with the database.
template <class Row>
auto readingAll(const char* text, Row (*read)(const Statement&)) {
    return [=](const Database& database) -> Result<std::vector<Row>> {
        Statement statement(database, text);
        return readRows(statement, read);
    };
}

auto readingNumber(const char* text) {
    return [=](const Database& database) -> Result<int64_t> {
        Statement statement(database, text);
        statement.step();
        return statement.number(0);
    };
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

template <class Body>
auto State::use(Body&& body) const {
    using Outcome = decltype(body(*database_));
    try {
        if (database_) return body(*database_);
        return Outcome(*damage_);
    } catch (const DamagedDatabase& damage) {
        damage_ = setAside(damage);
        return Outcome(*damage_);
    } catch (const std::exception& thrown) {
        return Outcome(thrownError(thrown));
    }
}

Error State::setAside(const DamagedDatabase& damage) const {
    if (damaged_ == Damaged::isLeft) return thrownError(damage);
    database_.reset();  // else it would remove the log of a new one when it is closed
    const auto aside =
        caught([&]() -> Result<std::optional<fs::path>> { return setAsideDamaged(path_); });
    if (!aside) return aside.error();
    if (!*aside) return thrownError(damage);
    return localError(Kind::local,
                      fmt::format("What was noted of the pair was damaged, and is kept as {}. Both "
                                  "sides stay as they are. Pair them anew, with the patterns of "
                                  "what is left out: quillon sync FOLDER URL compares them, and "
                                  "removes and overwrites nothing.",
                                  (*aside)->string()));
}

Result<State> State::open(const fs::path& directory, Damaged damaged) {
    const fs::path path = directory / databaseName;
    Result<State> state = caught([&]() -> Result<State> {
        return State(path, *Database::open(path, databaseHolds, Database::Missing::made), damaged);
    });
    if (!state) return state;
    Result<void> prepared = state->prepare();
    if (!prepared) return std::move(prepared).error();
    return state;
}

Result<State> State::openToLook(const fs::path& directory) {
    Result<State> state = open(directory);
    if (state) return state;
    const fs::path path = directory / databaseName;
    auto database = caught([&]() -> Result<std::optional<Database>> {
        return Database::openUnwritable(path, databaseHolds, state.error().sentences.front());
    });
    if (!database || !*database) return state;
    State looked(path, std::move(**database), Damaged::isLeft);
    if (!looked.prepare()) return state;
    return looked;
}

Result<void> State::prepare() const {
    return use([](const Database& database) -> Result<void> {
        // As durable without WAL, too, where a file system cannot have that.
        database.execute("PRAGMA synchronous=EXTRA");
        database.prepareTables(stateTables);
        return {};
    });
}

Result<std::optional<std::string>> State::setting(std::string_view name) const {
    return use([&](const Database& database) -> Result<std::optional<std::string>> {
        Statement statement(database, "SELECT value FROM settings WHERE name = ?");
        if (!statement.bind(name).step()) return std::optional<std::string>();
        return std::optional(statement.bytes(0));
    });
}

Result<void> State::set(std::string_view name, std::string_view value) {
    return use([&](const Database& database) -> Result<void> {
        Statement(database, "INSERT OR REPLACE INTO settings VALUES (?, ?)").run(name, value);
        return {};
    });
}

Result<BaseTree> State::base() const {
    return use([&](const Database& database) -> Result<BaseTree> {
        BaseTree tree;
        Statement statement(database, "SELECT * FROM nodes ORDER BY path");
        while (statement.step()) {
            tree.emplace_hint(tree.end(), statement.bytes(0), readNode(statement));
        }
        return tree;
    });
}

Result<std::optional<BaseNode>> State::node(const std::string& path) const {
    return use([&](const Database& database) -> Result<std::optional<BaseNode>> {
        Statement statement(database, "SELECT * FROM nodes WHERE path = ?");
        if (!statement.bind(path).step()) return std::optional<BaseNode>();
        return std::optional(readNode(statement));
    });
}

Result<std::vector<Intent>> State::intents() const {
    return use(readingAll("SELECT * FROM intents ORDER BY id", readIntent));
}

Result<std::vector<Deed>> State::deeds(int64_t run) const {
    if (run == 0) return use(readingAll("SELECT * FROM deeds ORDER BY id", readDeed));
    return use([&](const Database& database) -> Result<std::vector<Deed>> {
        Statement statement(database, "SELECT * FROM deeds WHERE run = ? ORDER BY id");
        return readRows(statement.bind(run), readDeed);
    });
}

Result<std::vector<Failed>> State::failures() const {
    return use(readingAll("SELECT * FROM failures ORDER BY path", readFailed));
}

Result<std::vector<ConflictCopy>> State::copies() const {
    return use(readingAll("SELECT * FROM copies ORDER BY noted, copy", readCopy));
}

Result<std::vector<KnownVersion>> State::compared() const {
    return use(readingAll("SELECT * FROM compared ORDER BY path", readCompared));
}

Result<void> State::setCompared(const std::vector<KnownVersion>& compared) {
    return use([&](const Database& database) -> Result<void> {
        Transaction transaction(database);
        writeCompared(database, compared);
        transaction.commit();
        return {};
    });
}

Result<std::vector<LateFile>> State::late() const {
    return use(readingAll("SELECT * FROM late ORDER BY name", readLate));
}

Result<int64_t> State::beginRun(Time when, int64_t undoes) {
    return use([&](const Database& database) -> Result<int64_t> {
        Statement(database, "INSERT INTO runs VALUES (NULL, ?, ?)")
            .run(millisecondsOf(when), undoes);
        return database.lastRow();
    });
}

Result<std::vector<int64_t>> State::undoingRuns() const {
    return use(readingAll(
        "SELECT id FROM runs WHERE undoes > 0",
        +[](const Statement& row) { return row.number(0); }));
}

Result<int64_t> State::lastRun() const {
    return use(readingNumber("SELECT max(id) FROM runs"));
}

Result<void> State::forgetRuns(int64_t keep) {
    return use([&](const Database& database) -> Result<void> {
        Transaction transaction(database);
        Statement(database, "DELETE FROM runs WHERE id <= (SELECT max(id) FROM runs) - ?")
            .run(keep);
        database.execute("DELETE FROM deeds WHERE run NOT IN (SELECT id FROM runs)");
        transaction.commit();
        return {};
    });
}

Result<void> State::commit(StateChange& change) {
    return use([&](const Database& database) -> Result<void> {
        Transaction transaction(database);
        writeChange(database, change);
        transaction.commit();
        return {};
    });
}

}  // namespace quillon::sync
