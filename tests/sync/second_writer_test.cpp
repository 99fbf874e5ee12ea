// Somebody who writes between our look and our write: on each server that is kept out, seen or
// lost, as docs/sync.md says.
#include "tests/cli/faulty_proxy.hpp"
#include "tests/sync/pair_test.hpp"

namespace quillon::cli {
namespace {

namespace fs = std::filesystem;

struct Where {
    const char* name;
    const char* server;
    const char* without;
    bool losesThem;
};

class SecondWriters : public PairTest, public testing::WithParamInterface<Where> {
protected:
    SecondWriters() : PairTest(start(GetParam().server, GetParam().without)) {
        proxy.on("*", "*", [this](const support::Request& request) {
            const auto theirs = acts.find(request.method + " " + request.target);
            if (theirs != acts.end()) {
                const std::string& path = theirs->second;
                const int status = ask("PUT", path, {}, "their " + path);
                isStored[path] = status == 201 || status == 204;  // Apache refuses by a 207
            }
            support::Answer answer;
            answer.madeBy([this](const support::Request& whole) {
                return handOn(server.port(), whole, Fault::none);
            });
            return answer;
        });
    }
    void SetUp() override {
        if (server.port() == 0) GTEST_SKIP() << GetParam().server << " is not installed";
    }

    std::map<std::string, std::string> acts;  // what they store before which request of ours
    std::map<std::string, bool> isStored;
    support::ScriptedServer proxy;
};

TEST_P(SecondWriters, areLostWhereNothingIsBetter) {
    for (const char* name : {"replaced", "removed", "d/x"}) write(folder("ann") / name, name);
    pair("ann", proxy.url("t/"));
    for (const char* name : {"replaced", "removed", "d/x"}) makeOldThere(name);
    for (int again = 0; again < 2; ++again) EXPECT_EQ(sync("ann").exitCode, exitDone);
    write(folder("ann") / "replaced", "mine");
    write(folder("ann") / "made", "mine");
    fs::remove(folder("ann") / "removed");
    fs::remove_all(folder("ann") / "d");
    acts = {{"PUT /t/replaced", "replaced"},
            {"PUT /t/made", "made"},
            {"DELETE /t/removed", "removed"},
            {"DELETE /t/d/", "d/new"}};
    sync("ann", {"--delete-many"});
    const auto contents = contentsAnywhere();
    EXPECT_EQ(isStored.size(), acts.size());
    for (const auto& [path, stored] : isStored) {
        const bool isLost = stored && !contents.contains("their " + path);
        EXPECT_EQ(isLost, GetParam().losesThem) << path;
    }
    for (const char* seen : {"replaced", "removed", "d/x"}) EXPECT_TRUE(contents.contains(seen));
}

// An answer that is lost is no refusal: what was moved and edited is stored where it is now.
struct LostAnswers : PairTest {};
TEST_F(LostAnswers, ofAMoveMakeNoConflict) {
    support::ScriptedServer proxy;
    proxy.on("*", "*", faultyHandler(server, Fault::none, countdown(0)));
    proxy.on("MOVE", "*", support::Answer().madeBy([this](const support::Request& whole) {
        handOn(server.port(), whole, Fault::none);
        return "HTTP/1.1 503 Busy\r\nContent-Length: 0\r\n\r\n";
    }));
    write(folder("ann") / "p/a", "old");
    pair("ann", proxy.url("t/"));
    for (int again = 0; again < 2; ++again) EXPECT_EQ(sync("ann").exitCode, exitDone);
    fs::rename(folder("ann") / "p", folder("ann") / "q");
    write(folder("ann") / "q/a", "new");
    sync("ann");
    EXPECT_EQ(sync("ann").exitCode, exitDone);
    EXPECT_EQ(support::readFile(there() / "q/a"), "new");
    EXPECT_EQ(filesIn(folder("ann")), filesIn(there()));
}

struct TagsOfSizes : PairTest {
    TagsOfSizes()
        : PairTest(std::make_unique<Apache>(support::ApacheOptions{.tagsOfSizes = true})) {}
};
TEST_F(TagsOfSizes, areNotBelievedOfWhatWasStoredJustNow) {
    write(folder("ann") / "a", "old");
    pair("ann");
    write(folder("ann") / "a", "mine");
    EXPECT_EQ(sync("ann").exitCode, exitDone);
    ASSERT_LT(ask("PUT", "a", {}, "hers"), 300);
    EXPECT_EQ(run("ann", {"undo", "-C", folder("ann")}).exitCode, exitChanged);
    EXPECT_EQ(sync("ann").exitCode, exitDone);
    EXPECT_EQ(support::readFile(folder("ann") / "a"), "hers");
    ASSERT_LT(storeThere("a", "bobs"), 300);  // with the tag of hers, and another date
    EXPECT_EQ(sync("ann").exitCode, exitDone);
    EXPECT_EQ(support::readFile(folder("ann") / "a"), "bobs");
}

INSTANTIATE_TEST_SUITE_P(, SecondWriters,
                         testing::Values(Where{"apache", "apache", "", false},
                                         Where{"lighttpd", "lighttpd", "", false},
                                         Where{"nginx", "nginx", "", false},
                                         Where{"rclone", "rclone", "", false},
                                         Where{"nginxWithoutLocks", "nginx", "dav_ext_lock", true}),
                         [](const auto& where) { return where.param.name; });

}  // namespace
}  // namespace quillon::cli
