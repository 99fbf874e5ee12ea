#include "sync/state.hpp"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include "tests/support/files.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quillon::sync {
namespace {

const std::string hashA(64, 'a'), hashB(64, 'b');
const Time noon{std::chrono::milliseconds(1'764'158'400'123)};

BaseNode nodeOf(uint64_t inode) {
    BaseNode node{
        NodeKind::file, {inode, 7, -1, 9, hashA}, {"a%20b", {"t", true}, 7, noon, hashA, "id"}};
    return node;
}

std::string textOf(const ThereState& there) {
    return there.segment + " " + there.tag.sent() + " " + std::to_string(there.size.value_or(99)) +
           " " + (there.modified ? httpDate(*there.modified) : "-") + " " + there.hash + " " +
           there.fileId;
}

class StateTest : public testing::Test {
protected:
    State open() const {
        Result<State> state = State::open(directory.path() / "pair");
        EXPECT_TRUE(state);
        return std::move(*state);
    }
    void execute(const char* text) const {
        sqlite3* database = nullptr;
        sqlite3_open((directory / "pair/state.db").c_str(), &database);
        EXPECT_EQ(sqlite3_exec(database, text, nullptr, nullptr, nullptr), SQLITE_OK);
        sqlite3_close(database);
    }
    // What is there after moves, as "path:inode".
    static std::vector<std::string> pathsOf(const State& state) {
        std::vector<std::string> paths;
        const Result<BaseTree> base = state.base();
        for (const auto& [path, node] : *base) {
            paths.push_back(path + ":" + std::to_string(node.here.inode));
        }
        return paths;
    }
    const support::TemporaryDirectory directory;
};

TEST_F(StateTest, keepsWhatItIsGiven) {
    StateChange change;
    EXPECT_TRUE(change.isEmpty());
    change.intents = {{0, Act::store, "p", "f", ".quillon-1", hashA, hashB}, {}};
    change.nodes = {{"n\xFF", nodeOf(~uint64_t{0})}, {"d", BaseNode{NodeKind::folder, {}, {}}}};
    change.failures = {{"p", "It is busy.", 3, noon}};
    change.copies = {{"p (theirs)", "p", nodeOf(1).there}};
    change.late = {{".quillon-1", "p", hashA, 5, -6}};
    {
        State state = open();
        const Result<int64_t> run = state.beginRun(noon);
        Deed deed{0, *run, noon, Act::fetch, "p", "f", hashA, hashB, true, false, {"t", true}};
        change.deeds = {deed};
        ASSERT_TRUE(state.set("url", "http://h/"));
        ASSERT_TRUE(state.set("url", "http://h/b/"));
        ASSERT_TRUE(state.commit(change));
        ASSERT_TRUE(state.setCompared({{"x", {}}}));
        ASSERT_TRUE(state.setCompared({{"c", nodeOf(1).there}}));
    }
    const State state = open();
    EXPECT_EQ(*state.compared(), (std::vector{KnownVersion{"c", nodeOf(1).there}}));
    EXPECT_EQ(support::modeOf(directory / "pair/state.db"), 0600u);
    EXPECT_EQ(**state.setting("url"), "http://h/b/");
    EXPECT_FALSE(*state.setting("folder"));
    const BaseTree base = *state.base();
    ASSERT_EQ(base.size(), 2u);
    EXPECT_EQ(base.at("d").kind, NodeKind::folder);
    EXPECT_FALSE(base.at("d").there.size || base.at("d").there.modified);
    EXPECT_EQ(base.at("n\xFF").here, nodeOf(~uint64_t{0}).here);
    EXPECT_EQ(textOf(base.at("n\xFF").there), textOf(nodeOf(1).there));
    EXPECT_TRUE(*state.node("d"));
    EXPECT_FALSE(*state.node("n"));
    const auto [id, act, path, from, hidden, oldHash, newHash] = state.intents()->at(0);
    EXPECT_EQ(std::tuple(id, act, path + from + hidden + oldHash + newHash),
              std::tuple(1, Act::store, "pf.quillon-1" + hashA + hashB));
    EXPECT_EQ(change.intents[1].id, 2);
    const Deed deed = state.deeds(1)->at(0);
    EXPECT_EQ(std::tuple(deed.run, deed.when, deed.act, deed.isFolder, deed.isCertain),
              std::tuple(1, noon, Act::fetch, true, false));
    EXPECT_EQ(deed.path + deed.from + deed.oldHash + deed.newHash + deed.newTag.sent(),
              "pf" + hashA + hashB + "W/\"t\"");
    const auto [failed, why, times, notBefore] = state.failures()->at(0);
    EXPECT_EQ(std::tuple(failed + why, times, notBefore), std::tuple("pIt is busy.", 3u, noon));
    const ConflictCopy copy = state.copies()->at(0);
    EXPECT_EQ(copy.copy + copy.path + textOf(copy.there), "p (theirs)p" + textOf(nodeOf(1).there));
    const LateFile late = state.late()->at(0);
    EXPECT_EQ(std::tuple(late.name + late.path + late.hash, late.size, late.modifiedNs),
              std::tuple(".quillon-1p" + hashA, 5u, -6));
}

TEST_F(StateTest, movesAPathAndAllBelowIt) {
    using Paths = std::vector<std::string>;
    using Moves = std::vector<std::pair<std::string, std::string>>;
    const struct {
        Moves moves;
        Paths paths;
    } rows[] = {
        {{{"a", "z"}}, {"a!:2", "ab:5", "z:1", "z/b:3", "z/b/c:4", "\xC3\xA4:6"}},
        {{{"a/b", "b"}, {"a", "\xC3\xA4/a"}},
         {"a!:2", "ab:5", "b:3", "b/c:4", "\xC3\xA4:6", "\xC3\xA4/a:1"}},
        {{{"\xC3\xA4", "a/b/d"}}, {"a:1", "a!:2", "a/b:3", "a/b/c:4", "a/b/d:6", "ab:5"}},
        {{{"none", "a"}, {"a/", "x"}}, {"a:1", "a!:2", "a/b:3", "a/b/c:4", "ab:5", "\xC3\xA4:6"}},
    };
    State state = open();
    for (const auto& row : rows) {
        StateChange change;
        const BaseTree old = *state.base();
        for (const auto& [path, node] : old) change.nodes.push_back({path, {}});
        ASSERT_TRUE(state.commit(change));
        change.nodes.clear();
        uint64_t inode = 0;
        for (const char* path : {"a", "a!", "a/b", "a/b/c", "ab", "\xC3\xA4"}) {
            change.nodes.push_back({path, nodeOf(++inode)});
        }
        ASSERT_TRUE(state.commit(change));
        StateChange moved;
        moved.moves = row.moves;
        ASSERT_TRUE(state.commit(moved));
        EXPECT_EQ(pathsOf(state), row.paths) << row.moves[0].first;
    }
}

TEST_F(StateTest, changesTogetherAndForgets) {
    State state = open();
    EXPECT_EQ(*state.lastRun(), 0);
    StateChange change;
    for (int run = 1; run <= 3; ++run) {
        EXPECT_EQ(*state.beginRun(noon), run);
        change.deeds.push_back({0, run, noon, Act::adopt, "p" + std::to_string(run)});
    }
    change.intents = {{}, {}};
    change.failures = {{"p", "why", 1, noon}};
    change.copies = {{"c", "p", {}}};
    change.late = {{"l", "p", hashA}};
    ASSERT_TRUE(state.commit(change));
    StateChange gone{.endedIntents = {change.intents[0].id},
                     .mended = {"p"},
                     .goneCopies = {"c"},
                     .goneLate = {"l"}};
    ASSERT_TRUE(state.commit(gone));
    EXPECT_EQ((*state.intents()).at(0).id, change.intents[1].id);
    EXPECT_TRUE((*state.failures()).empty() && (*state.copies()).empty() &&
                (*state.late()).empty());
    ASSERT_TRUE(state.forgetRuns(1));
    EXPECT_EQ((*state.deeds(0)).at(0).path, "p3");
    EXPECT_EQ(*state.lastRun(), 3);
    execute("CREATE TRIGGER full BEFORE INSERT ON late BEGIN SELECT RAISE(ABORT, 'full'); END");
    StateChange half{.nodes = {{"p", nodeOf(1)}}, .late = {{"l", "p", hashA}}};
    const Result<void> failed = state.commit(half);
    ASSERT_FALSE(failed);
    EXPECT_NE(failed.error().sentences[0].find("pair/state.db cannot be used: full"),
              std::string::npos);
    EXPECT_FALSE(*state.node("p"));
}

TEST_F(StateTest, takesAnEarlierOneAndRefusesALaterOneAndALink) {
    { State state = open(); }
    execute(
        "DROP TABLE compared; ALTER TABLE copies DROP COLUMN noted;"
        "ALTER TABLE runs DROP COLUMN undoes; PRAGMA user_version = 1");
    EXPECT_TRUE(open().setCompared({{"c", {}}}));
    execute("PRAGMA user_version = 5");
    const Result<State> later = State::open(directory / "pair");
    ASSERT_FALSE(later);
    EXPECT_EQ(later.error().kind, Kind::local);
    EXPECT_NE(later.error().sentences[0].find("later quillon"), std::string::npos);
    EXPECT_NE(later.error().sentences[0].find("pair/state.db"), std::string::npos);
    std::filesystem::create_directory(directory / "other");
    std::filesystem::create_symlink(directory / "pair/state.db", directory / "other/state.db");
    EXPECT_FALSE(State::open(directory / "other"));
}

}  // namespace
}  // namespace quillon::sync
