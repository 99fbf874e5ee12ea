// The rules of the plan, one row or cell each.
#include "sync/plan.hpp"

#include <gtest/gtest.h>

#include <sstream>

#include "sync/foretell.hpp"
#include "tests/sync/plan_text.hpp"

namespace quillon::sync {
namespace {

// A node is "d/" (a folder), "a!" (blocked), or "a=1": a file with its content, whose length is its
// size. Behind it: "?" there has no tag, "#" its hash is known, "~" its times or tag moved, "^" it
// was stored and not seen since; "@7" is its inode and file id.
struct Written {
    std::string path, content;
    NodeKind kind = NodeKind::file;
    HereState here;
    ThereState there;
};

Written readNode(std::string text) {
    Written node;
    const size_t end = text.find_first_of("=!@", 1);
    node.path = text.substr(0, end);
    const std::string rest = end == text.npos ? "" : text.substr(end);
    if (rest.starts_with('!')) node.kind = NodeKind::blocked;
    if (node.path.back() == '/') {
        node.kind = NodeKind::folder;
        node.path.pop_back();
    }
    if (rest.starts_with('=')) node.content = rest.substr(1, rest.find_first_of("?#~^@") - 1);
    const auto has = [&](char mark) { return rest.find(mark) != rest.npos; };
    const std::string id = has('@') ? rest.substr(rest.find('@') + 1) : "";
    const int64_t time = has('~') ? 2 : 1;
    node.here = {.inode = id.empty() ? std::hash<std::string>{}(node.path) : std::stoull(id),
                 .size = node.content.size(),
                 .modifiedNs = time,
                 .changedNs = time,
                 .hash = node.content};
    node.there = {.segment = node.path.substr(node.path.rfind('/') + 1),
                  .tag = {has('?') ? "" : node.content, has('~')},
                  .size = node.content.size(),
                  .hash = has('#') ? node.content : "",
                  .fileId = id,
                  .isLikely = has('^')};
    return node;
}

template <class Use>
void readNodes(const std::string& text, const Use& use) {
    std::istringstream words(text);
    for (std::string word; words >> word;) use(readNode(word));
}

Trees readTrees(const std::string& base, const std::string& here, const std::string& there) {
    Trees trees;
    readNodes(base, [&](const Written& node) {
        trees.base[node.path] = {node.kind, node.here, node.there};
    });
    readNodes(here, [&](const Written& node) {
        trees.here[node.path] = {node.kind, node.here, "why"};
    });
    readNodes(there, [&](const Written& node) {
        trees.there[node.path] = {node.kind, node.there, "why"};
    });
    return trees;
}

struct Pairs {
    const char* base;
    std::vector<const char*> there;  // columns
    struct Row {
        const char* here;
        std::vector<const char*> acts;
    };
    std::vector<Row> rows;
};

const Pairs pairTables[] = {
    {"",
     {"", "p=2", "p=2#", "p=3#", "p=44", "p/", "p!"},
     {{"", {"", "fetch", "fetch", "fetch", "fetch", "makeHere", "blocked"}},
      {"p=2", {"store", "compare", "adopt", "bothMade", "bothMade", "kinds", "blocked"}},
      {"p/", {"makeThere", "kinds", "kinds", "kinds", "kinds", "adopt", "blocked"}},
      {"p!", {"blocked", "blocked", "blocked", "blocked", "blocked", "blocked", "blocked"}}}},
    {"p/",
     {"", "p=2", "p=2#", "p=3#", "p=44", "p/", "p!"},
     {{"", {"forget", "fetch", "fetch", "fetch", "fetch", "removeThere", "blocked"}},
      {"p=2", {"store", "compare", "adopt", "bothMade", "bothMade", "removeThere+", "blocked"}},
      {"p/",
       {"removeHere", "removeHere+", "removeHere+", "removeHere+", "removeHere+", "", "blocked"}},
      {"p!", {"blocked", "blocked", "blocked", "blocked", "blocked", "blocked", "blocked"}}}},
    {"p=1",
     {"", "p=1", "p=1~", "p=1?#", "p=1?", "p/", "p!"},
     {{"",
       {"forget", "removeThere", "removeThere", "removeThere", "compare", "makeHere", "blocked"}},
      {"p=1", {"removeHere", "", "adopt", "adopt", "compare", "removeHere+", "blocked"}},
      {"p=1~", {"removeHere", "adopt", "adopt", "adopt", "compare", "removeHere+", "blocked"}},
      {"p=2", {"store", "store", "store", "store", "compare", "kinds", "blocked"}},
      {"p/",
       {"makeThere", "removeThere+", "removeThere+", "removeThere+", "compare", "adopt",
        "blocked"}},
      {"p!", {"blocked", "blocked", "blocked", "blocked", "blocked", "blocked", "blocked"}}}},
    {"p=1?^",
     {"", "p=1?", "p=2"},
     {{"", {"forget", "compare", "compare"}},
      {"p=1", {"removeHere", "compare", "compare"}},
      {"p/", {"makeThere", "compare", "compare"}}}},
    {"p=1",
     {"p=2", "p=2#", "p=3#", "p=2?#", "p=44?"},
     {{"", {"fetch", "fetch", "fetch", "fetch", "fetch"}},
      {"p=1", {"fetch", "fetch", "fetch", "fetch", "fetch"}},
      {"p=2", {"compare", "adopt", "bothChanged", "adopt", "bothChanged"}},
      {"p/", {"kinds", "kinds", "kinds", "kinds", "kinds"}},
      {"p!", {"blocked", "blocked", "blocked", "blocked", "blocked"}}}},
};

TEST(Plan, ofEachPairOfStates) {
    for (const Pairs& table : pairTables)
        for (const Pairs::Row& row : table.rows) {
            ASSERT_EQ(row.acts.size(), table.there.size());
            for (size_t i = 0; i < row.acts.size(); ++i) {
                const Plan plan = makePlan(readTrees(table.base, row.here, table.there[i]));
                std::string text;
                for (const Action& action : plan.actions) {
                    EXPECT_EQ(action.path, "p");
                    EXPECT_EQ(action.why, action.act == Act::blocked ? "why" : "");
                    text += action.conflict == Conflict::none ? nameOf(action.act)
                                                              : nameOf(action.conflict);
                }
                EXPECT_EQ(text + (plan.needsMore ? "+" : ""), row.acts[i])
                    << "base " << table.base << ", here " << row.here << ", there "
                    << table.there[i];
            }
        }
}

struct TreeRow {
    const char* name;
    const char *base, *here, *there, *plan;
    PlanOptions options{};
};

const PlanOptions pull{.direction = Direction::pull}, push{.direction = Direction::push},
    keep{.mayRemove = false};

const TreeRow treeRows[] = {
    {"everything new here", "", "d/ d/a=1 d/e/ b=2", "",
     "makeThere d, makeThere d/e, store b, store d/a"},
    {"a folder removed here", "d/ d/a=1 d/e/ d-=1", "d-=1", "d/ d/a=1 d/e/ d-=1",
     "removeThere d/e, removeThere d/a, removeThere d"},
    {"a folder removed here, a member changed there", "d/ d/a=1 d/b=1", "", "d/ d/a=2 d/b=1",
     "makeHere d, fetch d/a, removeThere d/b"},
    {"a folder removed there, a new member here", "d/ d/a=1", "d/ d/a=1 d/e/ d/e/n=2", "",
     "makeThere d, makeThere d/e, store d/e/n, removeHere d/a"},
    {"a folder removed there, blocked here", "d/ d/a=1", "d/ d/a=1 d/b!", "",
     "makeThere d, blocked d/b, removeHere d/a"},
    {"nothing below what is blocked", "d/ d/a=1", "d!", "d/ d/a=2 d/n=1 d/x!", "blocked d"},
    {"a folder removed here, a member uncertain there", "d/ d/a=1", "", "d/ d/a=1?", "compare d/a"},
    {"a file for a folder here", "d/ d/a=1", "d=2", "d/ d/a=1", "removeThere d/a, removeThere d+"},
    {"a folder for a file there", "d=1", "d=1", "d/ d/a=2 d/b!", "removeHere d+"},
    {"a file for a folder here, changed there", "d/ d/a=1", "d=2", "d/ d/a=2", "kinds d"},
    {"a file for a folder here, more there", "d/ d/a=1", "d=2", "d/ d/a=1 d/n=1", "kinds d"},
    {"a file for a folder here, blocked there", "d/ d/a=1", "d=2", "d/ d/a!", "kinds d"},
    {"a file for a folder here, uncertain there", "d/ d/a=1", "d=2", "d/ d/a=1?", "compare d/a"},
    {"moved here", "a=1@7", "e/ e/b=1@7", "a=1@7", "makeThere e, moveThere e/b<a"},
    {"moved and changed here", "a=1@7", "b=2@7", "a=1@7", "store b, removeThere a"},
    {"moved here, changed there", "a=1@7", "b=1@7", "a=2@7", "fetch a, store b"},
    {"moved here, uncertain there", "a=1@7", "b=1@7", "a=1?@7", "compare a, store b"},
    {"moved here to where one is there", "a=1@7", "b=1@7", "a=1@7 b=2", "compare b, removeThere a"},
    {"moved here, and linked", "a=1@7", "b=1@7 c=1@7", "a=1@7", "store b, store c, removeThere a"},
    {"moved there by its id", "a=1@7", "a=1@7", "b=2@7", "moveHere b<a, fetch b"},
    {"moved there by its tag", "a=1", "a=1", "e/ e/b=1", "makeHere e, moveHere e/b<a, adopt e/b"},
    {"moved there by its id, uncertain", "a=1@7", "a=1@7", "b=1?@7", "moveHere b<a, compare b"},
    {"moved there by an id that two have", "a=1@7", "a=1@7", "b=2@7 c=3@7",
     "fetch b, fetch c, removeHere a"},
    {"ids that are new there", "d/ d/a=1", "d/ d/a=1", "d/@7 d/a=1@8", "adopt d, adopt d/a"},
    {"ids that are known", "d/@7 d/a=1@8", "d/@7 d/a=1@8", "d/@7 d/a=1@8", ""},
    {"other files there with the same tags", "a=1@7 b=1@8 c=1^@9", "a=1@7 b=1@8 c=1@9",
     "a=1@8 b=1#@7 c=1@5", "compare a, adopt b, compare c"},
    {"another file there, changed", "a=1@7", "a=1@7", "a=2@8", "fetch a"},
    {"moved there by its tag, another id", "a=1@7", "a=1@7", "b=1@8", "moveHere b<a, compare b"},
    {"another file there, moved here", "a=1@7", "b=1@7", "a=1@8", "compare a, store b"},
    {"copied there by its tag", "a=1", "a=1", "b=1 c=1", "fetch b, fetch c, removeHere a"},
    {"moved there, changed here", "a=1@7", "a=2@7", "b=1@7", "store a, fetch b"},
    {"moved here and there", "a=1@7", "b=1@7", "c=1@7", "forget a, store b, fetch c"},
    {"a folder moved here, members changed there", "d/@7 d/a=1 d/b=1@9", "e/@7 e/a=1 e/b=1@9",
     "d/@7 d/a=2 d/b=1@9 d/n=3", "moveThere e<d, fetch e/a, fetch e/n"},
    {"a folder moved here, a member uncertain there", "d/@7 d/a=1", "e/@7 e/a=1", "d/@7 d/a=1?",
     "moveThere e<d, compare d/a"},
    {"a folder moved here, both changed a member", "d/@7 d/a=1", "e/@7 e/a=2", "d/@7 d/a=3",
     "moveThere e<d, compare d/a"},
    {"a folder moved here, blocked there", "d/@7 d/a=1", "e/@7 e/a=1", "d/@7 d/a=1 d/b!",
     "makeHere d, makeThere e, blocked d/b, store e/a, removeThere d/a"},
    {"the inode of a removed folder", "d/@7 d/a=1", "e/@7 e/b=1", "d/@7 d/a=1",
     "makeThere e, store e/b, removeThere d/a, removeThere d"},
    {"folders moved in one another", "d/@7 d/e/@8 d/e/a=1@9", "f/@7 f/g/@8 f/b=1@9",
     "d/@7 d/e/@8 d/e/a=1@9", "moveThere f<d, moveThere f/b<f/e/a, makeThere f/g, removeThere f/e"},
    {"pull", "a=1 b=1 c=1 d/ d/a=1 e/ e/a=1 m=1@7", "a=1 b=2 d/ d/a=1 n=1@7 o=1",
     "a=2 b=1 c=1 e/ e/a=1 m=1@7 p=1", "fetch a, fetch p, removeHere d/a, removeHere d", pull},
    {"push", "a=1 b=1 c=1 d/ d/a=1 e/ e/a=1 m=1@7", "a=1 b=2 d/ d/a=1 m=1@7 o=1",
     "a=2 b=1 c=1 e/ e/a=1 n=1@7 p=1",
     "store b, store o, removeThere e/a, removeThere e, removeThere c", push},
    {"a conflict while pulling", "a=1", "a=2", "a=33", "bothChanged a", pull},
    {"removals are not allowed", "a=1 b=1 d/ d/a=1 e/ e/a=1 e/b=1 f=1", "a=1 e/ e/a=2 e/b=1 f/",
     "d/ d/a=1 f=1", "makeThere e, store e/a", keep},
};

TEST(Plan, ofTrees) {
    for (const TreeRow& row : treeRows) {
        const Plan plan = makePlan(readTrees(row.base, row.here, row.there), row.options);
        EXPECT_EQ(textOf(plan), row.plan) << row.name;
    }
}

// A server may tell the same tag of other contents: their bytes are nowhere else.
TEST(Plan, believesNoTagOfAnotherSize) {
    for (const char* here : {"a=1", "a=2"}) {
        Trees trees = readTrees("a=1", here, "a=33");
        trees.there["a"].state.tag = trees.base["a"].there.tag;
        EXPECT_EQ(textOf(makePlan(trees)), here[2] == '1' ? "fetch a" : "bothChanged a");
    }
}

TEST(Plan, countsWhatItRemoves) {
    const Plan plan = makePlan(readTrees("a=1 b=1 c=1 d/", "a=1 b=1", "b=1 c=1"));
    EXPECT_EQ(textOf(plan), "forget d, removeThere c, removeHere a");
    EXPECT_EQ(plan.removals, 2u);
    EXPECT_EQ(plan.known, 3u);
}

TEST(Foretell, addsWhatTheSecondPlanDoes) {
    const struct {
        const char *base, *here, *there, *first, *all;
    } rows[] = {
        {"a=1", "a/ a/in=2", "a=1", "removeThere a+", "removeThere a, makeThere a, store a/in"},
        {"d/ d/a=1 k=1", "d/ d/a=1 k=2", "d=2 k=1", "store k, removeHere d/a, removeHere d+",
         "store k, removeHere d/a, removeHere d, fetch d"},
        {"k=1", "k=2", "k=1", "store k", "store k"},
    };
    for (const auto& row : rows) {
        Plan plan = makePlan(readTrees(row.base, row.here, row.there));
        EXPECT_EQ(textOf(plan), row.first);
        EXPECT_EQ(textOf(foretell(std::move(plan), {})), row.all);
    }
}

// Whether the base tells a file here to be what it was.
TEST(Plan, believesNoTimesOfYoungFiles) {
    Trees trees = readTrees("a=1", "a=1", "");
    trees.here["a"].state.hash.clear();
    EXPECT_TRUE(isUnchangedHere(trees.base["a"], trees.here["a"]));
    trees.base["a"].here.changedNs = trees.here["a"].state.changedNs = 0;
    EXPECT_FALSE(isUnchangedHere(trees.base["a"], trees.here["a"]));
}

}  // namespace
}  // namespace quillon::sync
