// What people do with a pair, one after the other.
#include <sys/stat.h>

#include <algorithm>
#include <fstream>

#include "tests/sync/pair_test.hpp"

namespace quillon::cli {
namespace {

namespace fs = std::filesystem;

class PairCommands : public PairTest {
protected:
    // In the folder of ann, unless the row names another one.
    void check(const std::vector<Row>& rows) const {
        for (const Row& row : rows) {
            SCOPED_TRACE(testing::PrintToString(row.arguments));
            support::Command all = commandOf("ann", row.arguments);
            all.directory = folder("ann");
            const auto outcome = support::run(all);
            EXPECT_EQ(outcome.exitCode, row.exitCode) << outcome.output << outcome.errors;
            const std::string told = outcome.output + outcome.errors;
            EXPECT_NE(told.find(row.told), std::string::npos) << told;
        }
    }
    // What the other one had is "theirs", what the folder has is "mine".
    void makeConflict(const std::string& name, const std::string& mine,
                      const std::string& theirs) const {
        write(folder("ann") / name, mine);
        ASSERT_LT(storeThere(name, theirs), 300);
        EXPECT_EQ(sync("ann").exitCode, exitChanged);
    }
    std::string here(const std::string& name) const {
        return support::readFile(folder("ann") / name);
    }
    std::string thereIs(const std::string& name) const { return support::readFile(there() / name); }
};

TEST_F(PairCommands, conflictsAreSettled) {
    const std::string both = "one\ntwo\nthree\nfour\nfive\n";
    for (const char* name : {"m", "t", "b", "g", "x"}) write(folder("ann") / name, both);
    pair("ann");
    EXPECT_EQ(sync("ann").exitCode, exitDone);
    const std::string mine = "ONE\ntwo\nthree\nfour\nfive\n",
                      theirs = "one\ntwo\nthree\nfour\nFIVE\n";
    for (const char* name : {"m", "t", "b", "g"}) makeConflict(name, mine, theirs);
    makeConflict("x", "uno\n" + both.substr(4), "eins\n" + both.substr(4));
    makeConflict("new", "mine", "theirs");
    for (const std::string& version : {std::string("between"), theirs})  // back to what it was
        makeConflict("t", mine, version);
    for (const auto& [path, content] : filesIn(folder("ann")))  // bob settled it by --both
        if (path.starts_with("m (theirs, ")) write(there() / path, content);
    // Only the content tells that what the file here stands in for was changed there.
    write(folder("ann") / "d/f", "old");
    EXPECT_EQ(sync("ann").exitCode, exitChanged);
    fs::remove_all(folder("ann") / "d");
    ASSERT_LT(storeThere("d/f", "new"), 300);
    write(folder("ann") / "d", "mine");
    EXPECT_EQ(sync("ann").exitCode, exitChanged);
    check({{{"status"}, 6, "in conflict            d (a folder on one side"},
           {{"sync"}, 6, "quillon: 7 in conflict"}});
    fs::rename(folder("ann") / "d", folder("ann") / "e");
    check({{{"status"}, 6, "in conflict            new (made on both sides)"},
           {{"status", "--json"}, 6, R"({"state":"in conflict","path":"b",)"},
           {{"resolve", "m"}, 2, "say one of"},
           {{"resolve", "--mine", "--both", "m"}, 2, "say one of"},
           {{"resolve", "--mine", "quiet"}, 3, "It is in no conflict"},
           {{"resolve", "--mine", "/etc/passwd"}, 2, "not paired"},
           {{"resolve", "--mine", "-C", "..", "ann/m"}, 0, "stores yours"},
           {{"resolve", "--theirs", "t"}, 0, "it is theirs now"}});
    EXPECT_EQ(here("t"), theirs);
    check({{{"resolve", "--both", "b"}, 0, "stores both"},
           {{"resolve", "--merge", "g"}, 0, "merged"},
           {{"resolve", "--merge", "x"}, 1, "Both changed the same lines"},
           {{"resolve", "--merge", "--markers", "x"}, 0, "merged"},
           {{"resolve", "--merge", "new"}, 1, "--both keeps both"},
           {{"resolve", "--mine", "new"}, 0, "stores yours"},
           {{"sync"}, 0, "stored"},
           {{"sync"}, 0, "both sides are the same"}});
    EXPECT_EQ(thereIs("m"), mine);
    EXPECT_EQ(thereIs("b"), mine);
    EXPECT_EQ(thereIs("g"), "ONE\ntwo\nthree\nfour\nFIVE\n");
    EXPECT_NE(thereIs("x").find("<<<<<<< mine\nuno\n"), std::string::npos) << thereIs("x");
    EXPECT_EQ(thereIs("new"), "mine");
    const Files files = filesIn(there());
    EXPECT_EQ(std::ranges::count_if(files,
                                    [](const auto& each) {
                                        return each.first.starts_with("b (theirs, ") &&
                                               each.second == "one\ntwo\nthree\nfour\nFIVE\n";
                                    }),
              1);
    EXPECT_EQ(filesIn(folder("ann")), files);  // no other copy of theirs is left
}

// The next plan stores it anew and removes the old one, which must not go without that.
TEST_F(PairCommands, whatTheServerDoesNotMoveStays) {
    for (const char* name : {"x", "d/y", "d/z"}) write(folder("ann") / name, name);
    pair("ann");
    for (int again = 0; again < 2; ++again) EXPECT_EQ(sync("ann").exitCode, exitDone);
    const std::string lock =
        "<lockinfo xmlns=\"DAV:\"><lockscope><exclusive/></lockscope><locktype><write/></locktype>"
        "</lockinfo>";
    ASSERT_EQ(ask("LOCK", "d/y", {}, lock), 200);
    fs::rename(folder("ann") / "x", folder("ann") / ".DAV");  // a name that is Apache's own
    fs::rename(folder("ann") / "d", folder("ann") / "e");
    for (int again = 0; again < 3; ++again) {
        EXPECT_NE(sync("ann").exitCode, exitDone);
        EXPECT_EQ(here(".DAV") + here("e/y") + here("e/z"), "xd/yd/z");
        EXPECT_EQ(thereIs("x") + thereIs("d/y") + thereIs("e/y") + thereIs("e/z"), "xd/yd/yd/z");
    }
}

// It is moved into a folder that is moved there itself, and may not be written in here.
TEST_F(PairCommands, whatCannotBeMovedHereStaysThere) {
    for (const char* name : {"p/b", "p/x", "q/a", "r/k"}) write(folder("ann") / name, name);
    pair("ann");
    for (int again = 0; again < 2; ++again) EXPECT_EQ(sync("ann").exitCode, exitDone);
    ASSERT_EQ(ask("MOVE", "p/b", "Destination: " + server.url("t/q/q") + "\r\n"), 201);
    fs::rename(folder("ann") / "q", folder("ann") / "r/q");
    const auto outcome =
        runReadOnly(folder("ann") / "p", commandOf("ann", {"sync", folder("ann")}));
    if (!outcome) GTEST_SKIP() << "nothing can be mounted here";
    EXPECT_EQ(here("p/b") + thereIs("r/q/q"), "p/bp/b") << outcome->errors;
    EXPECT_EQ(sync("ann").exitCode, exitDone);
    EXPECT_EQ(here("r/q/q") + thereIs("r/q/q"), "p/bp/b");
}

// A file that becomes a folder takes two plans.
TEST_F(PairCommands, whatWaitsIsToldOnce) {
    for (const char* name : {"a", "k"}) write(folder("ann") / name, "old");
    pair("ann");
    EXPECT_EQ(sync("ann").exitCode, exitDone);
    makeConflict("a", "mine", "theirs");
    fs::remove(folder("ann") / "k");
    write(folder("ann") / "k/in", "new");
    fs::create_symlink("/etc/passwd", folder("ann") / "link");
    const auto outcome = sync("ann");
    EXPECT_EQ(outcome.exitCode, exitChanged);
    EXPECT_EQ(thereIs("k/in"), "new");
    for (const char* told : {"a: changed on both sides", "link: It is"}) {
        const size_t at = outcome.errors.find(told);
        EXPECT_NE(at, std::string::npos) << outcome.errors;
        EXPECT_EQ(outcome.errors.find(told, at + 1), std::string::npos) << outcome.errors;
    }
}

TEST_F(PairCommands, whatWasReplacedComesBack) {
    for (const char* name : {"d/a", "d/b", "c"})
        write(folder("ann") / name, std::string("old ") + name);
    pair("ann");
    EXPECT_EQ(sync("ann").exitCode, exitDone);
    write(folder("ann") / "d/a", "new here");
    fs::remove(folder("ann") / "d/b");
    ASSERT_LT(storeThere("c", "new there"), 300);
    check({{{"status"}, 0, "changed here           d/a"},
           {{"status", "--local"}, 0, "removed here           d/b"},
           {{"status", "--json"}, 0, R"({"state":"changed there","path":"c"})"},
           {{"sync", "--dry-run"}, 0, "compare d/b"},
           {{"sync", "--pull"}, 0, "fetched"},
           {{"sync", "--push"}, 0, "1 removed there, 1 stored"},
           {{"log"}, 0, "removed there d/b"},
           {{"log", "-C", "d"}, 0, "removed there d/b"},
           {{"status", "-C", ".."}, 2, "not paired"},
           {{"sync", "-C", "..", "ann"}, 0, "both sides are the same"},
           {{"undo", "-C", ""}, 2, "--directory"},
           {{"sync", ""}, 2, "DIRECTORY"},
           {{"log", "--json"}, 0, R"("event":"stored","path":"d/a","certain":true})"},
           {{"undo", "77"}, 3, "Run 77 replaced and removed nothing"},
           {{"undo", "x"}, 2, "number of a run"},
           {{"undo", "-1"}, 2, ""},
           {{"undo", "18446744073709551617"}, 2, "number of a run"},
           {{"undo"}, 0, "given back there d/b"}});
    check({{{"log"}, 0, "given back there d/b"}});
    EXPECT_EQ(thereIs("d/a"), "old d/a");
    EXPECT_EQ(thereIs("d/b"), "old d/b");
    check({{{"sync"}, 0, "2 fetched"}});
    EXPECT_EQ(here("d/a"), "old d/a");
    // The fetch of "c" was another run, and was changed since.
    write(folder("ann") / "c", "newest");
    const std::string log = run("ann", {"log", folder("ann")}).output;
    const size_t line = log.rfind('\n', log.find("fetched c"));
    check(
        {{{"undo", std::to_string(std::atoi(log.substr(line == log.npos ? 0 : line + 1).c_str()))},
          6,
          "changed here since"}});
    EXPECT_EQ(here("c"), "newest");
}

// Of what is no small text nothing else is kept than the file itself, into which an editor may
// write.
TEST_F(PairCommands, aReplacedFileThatSomebodyHasOpenIsNoCopy) {
    const std::string old(2 << 20, '\0'), late = "written late";
    for (const char* name : {"a", "b", "c"}) write(folder("ann") / name, old);
    pair("ann");
    for (const char* name : {"a", "b", "c"}) makeOld(there() / name);
    for (int again = 0; again < 2; ++again) EXPECT_EQ(sync("ann").exitCode, exitDone);
    std::fstream editor(folder("ann") / "a", std::ios::in | std::ios::out);
    fs::remove(folder("ann") / "b");
    fs::remove(folder("ann") / "c");
    ASSERT_LT(storeThere("a", "new"), 300);
    check({{{"sync", "--delete-many"}, 0, "1 fetched, 2 removed there"}});
    editor << late << std::flush;
    editor.close();
    check({{{"undo"}, 6, "given back there b"}});  // what was written late is told beside
    EXPECT_EQ(thereIs("b"), old);
    const auto contents = contentsAnywhere();
    EXPECT_TRUE(contents.contains(old));
    EXPECT_TRUE(
        std::ranges::any_of(contents, [&](const auto& each) { return each.starts_with(late); }));
}

// They have one store, and it holds as much as the pair wants that wants most.
TEST_F(PairCommands, aPairEmptiesTheStoreForNoOther) {
    const std::string old(2 << 20, '\0');
    write(folder("ann") / "film", old);
    pair("ann");
    EXPECT_EQ(sync("ann").exitCode, exitDone);
    ASSERT_LT(storeThere("film", "theirs"), 300);
    for (int again = 0; again < 2; ++again) EXPECT_EQ(sync("ann").exitCode, exitDone);
    write(folder("other") / "x", std::string(2000, 'x'));
    server.addCollection("o");
    check({{{"sync", "-y", "-q", "--keep-size", "1K", folder("other"), server.url("o/")}, 0, ""}});
    EXPECT_TRUE(contentsAnywhere().contains(old));
    check({{{"sync", "--keep-size", "1K"}, 0, ""}});  // now both want no more
    write(folder("other") / "y", "y");
    check({{{"sync", "-q", folder("other")}, 0, ""}});
    EXPECT_FALSE(contentsAnywhere().contains(old));
}

TEST_F(PairCommands, nothingIsRemovedByMistake) {
    for (int i = 0; i < 30; ++i) write(folder("ann") / fmt::format("f{}", i), fmt::format("{}", i));
    pair("ann");
    EXPECT_EQ(sync("ann").exitCode, exitDone);
    const Files all = filesIn(there());
    fs::rename(folder("ann"), work / "elsewhere");
    EXPECT_EQ(sync("ann").exitCode, exitLocal);
    fs::create_directory(folder("ann"));
    check({{{"sync"}, 6, "the folder is empty"}});  // as a disk that is not mounted
    EXPECT_EQ(filesIn(there()), all);
    fs::remove(folder("ann"));
    fs::rename(work / "elsewhere", folder("ann"));
    for (int i = 0; i < 20; ++i) fs::remove(folder("ann") / fmt::format("f{}", i));
    check({{{"sync"}, 6, "20 of 30 files would go"}, {{"sync", "-x", "f29"}, 6, "is left out"}});
    EXPECT_EQ(filesIn(there()), all);
    check({{{"sync", "--delete-many"}, 0, "20 removed there"}});
    EXPECT_TRUE(fs::exists(there() / "f29"));
    ASSERT_LT(ask("DELETE", ""), 300);
    check({{{"sync"}, 3, "The collection is gone"}, {{"status"}, 3, "The collection is gone"}});
    EXPECT_EQ(here("f28"), "28");
}

TEST_F(PairCommands, whatWasWrittenLateComesBack) {
    write(folder("ann") / "a", "old");
    pair("ann");
    EXPECT_EQ(sync("ann").exitCode, exitDone);
    EXPECT_LT(storeThere("a", "theirs"), 300);
    {
        std::fstream editor(folder("ann") / "a", std::ios::in | std::ios::out | std::ios::ate);
        EXPECT_EQ(sync("ann").exitCode, exitDone);
        editor << ", written late";
    }
    check({{{"sync"}, 0, "quillon undo gives it back"}, {{"undo"}, 0, "given back here a"}});
    EXPECT_EQ(here("a"), "old, written late");
    check({{{"undo"}, 0, "given back here a"}});
    EXPECT_EQ(here("a"), "theirs");
}

TEST_F(PairCommands, whatIsOpenForWritingIsNotCopiedAway) {
    const fs::path other = fs::path("/dev/shm") / work.path().filename();  // another file system
    std::error_code none;
    if (!fs::create_directory(other, none)) GTEST_SKIP() << "there is none";
    fs::create_directory_symlink(other, home / "ann");
    for (const char* name : {"a", "b"}) write(folder("ann") / name, std::string("old ") + name);
    pair("ann");
    EXPECT_EQ(sync("ann").exitCode, exitDone);
    EXPECT_LT(storeThere("a", "theirs, a"), 300);
    EXPECT_LT(ask("DELETE", "b"), 300);
    {
        const auto mode = std::ios::in | std::ios::out | std::ios::ate;
        std::fstream a(folder("ann") / "a", mode), b(folder("ann") / "b", mode);
        EXPECT_EQ(sync("ann").exitCode, exitNetwork);
        a << ", written late";
        b << ", written late";
    }
    EXPECT_EQ(here("a"), "old a, written late");
    EXPECT_EQ(here("b"), "old b, written late");
    EXPECT_EQ(sync("ann").exitCode, exitChanged);
    EXPECT_EQ(thereIs("b"), "old b, written late");
    nothingIsLost({"old a, written late", "theirs, a"});
    fs::remove_all(other);
}

// The server's answer to a store is dated by its beginning.
TEST_F(PairCommands, whatIsLargeIsNotFetchedBehindItsStore) {
    pair("ann");
    write(folder("ann") / "large", std::string(3 << 20, 'x'));
    write(folder("ann") / "small", "x");
    EXPECT_EQ(sync("ann", {"--limit-rate", "2M"}).exitCode, exitDone);
    check({{{"status"}, 0, "Both sides are the same.\nA file stored not long ago is compared"}});
    const std::string requests = sync("ann", {"-vv"}).errors;
    EXPECT_EQ(requests.find("/large"), requests.npos) << requests;
    EXPECT_NE(requests.find("/small"), requests.npos) << requests;
}

TEST_F(PairCommands, whatWasLeftOutIsFetchedWhenItIsTakenAgain) {
    write(folder("ann") / "big/a", "a");
    write(folder("ann") / "b", "b");
    pair("ann");
    write(folder("ann") / ".quillonignore", "big/\n");
    EXPECT_EQ(sync("ann").exitCode, exitDone);
    fs::remove_all(folder("ann") / "big");
    write(folder("ann") / ".quillonignore", "\n");
    check({{{"sync"}, 0, "fetched"}, {{"sync"}, 0, "both sides are the same"}});
    EXPECT_EQ(here("big/a"), "a");
    EXPECT_EQ(thereIs("big/a"), "a");
}

TEST_F(PairCommands, whatCannotBeSentIsToldAndStays) {
    write(folder("ann") / "a", "a");
    pair("ann");
    fs::create_symlink("/etc/passwd", folder("ann") / "link");
    ASSERT_EQ(mkfifo((folder("ann") / "pipe").c_str(), 0600), 0);
    write(folder("ann") / "bad\xFFname", "x");
    write(folder("ann") / "sub/b.tmp", "t");
    write(folder("ann") / ".quillonignore", "*.tmp\n# a comment\n");
    check({{{"sync"}, 7, "link: It is a symbolic link."},
           {{"status"}, 0, "left alone             pipe"},
           {{"sync"}, 7, "Its name is no UTF-8"},
           {{"sync", "-x", "link", "-x", "pipe", "-x", "bad*"}, 0, "both sides are the same"}});
    EXPECT_EQ(filesIn(there()),
              (Files{{".quillonignore", "*.tmp\n# a comment\n"}, {"a", "a"}, {"sub", "/"}}));
    EXPECT_TRUE(fs::is_symlink(folder("ann") / "link"));
    check({{{"sync", "-n", "-x", "a"}, 7, "symbolic link"},
           {{"sync"}, 0, "both sides are the same"}});
    ASSERT_LT(ask("DELETE", "sub/"), 300);
    check({{{"sync"}, 0, "sub/ stays here, for it holds what is left out"},
           {{"sync"}, 0, "both sides are the same"}});
    EXPECT_EQ(sync("ann").errors, "");
    EXPECT_FALSE(fs::exists(there() / "sub"));
    EXPECT_EQ(here("sub/b.tmp"), "t");
    write(folder("ann") / "sub/c", "c");
    check({{{"sync"}, 0, "1 made there, 1 stored"}});
    ASSERT_LT(ask("DELETE", "sub/"), 300);
    check({{{"sync"}, 0, "sub/ stays here"}});
    EXPECT_FALSE(fs::exists(folder("ann") / "sub/c"));
    EXPECT_EQ(sync("ann").exitCode, exitDone);
    EXPECT_FALSE(fs::exists(there() / "sub"));
    fs::remove(folder("ann") / "sub/b.tmp");
    check({{{"sync"}, 0, "removed here"}});
    EXPECT_FALSE(fs::exists(folder("ann") / "sub"));
    write(folder("ann") / ".quillonignore", "[\n");
    check({{{"sync"}, 2, ".quillonignore, line 1"}});
}

TEST_F(PairCommands, pairsAreMadeOnce) {
    fs::create_directories(folder("ann") / "in");
    const std::string url = server.url("t/");
    check({{{"sync", ".", url}, 2, ". Keep " + folder("ann").string()},
           {{"status"}, 2, "is not paired with a collection"},
           {{"sync"}, 2, "quillon sync FOLDER URL"},
           {{"sync", "-n", ".", url}, 2, "A dry run pairs nothing"},
           {{"sync", "-y", ".", server.url("t/deep/er/")}, 1, "409"},
           {{"sync", "-y", ".", url}, 0, "made there"},
           {{"sync", ".", url}, 0, "both sides are the same"},
           {{"sync", ".", server.url()}, 2, "is paired with"},
           {{"sync", "-y", "in", url}, 2, "is paired with"},
           {{"sync", "in"}, 0, "both sides are the same"},
           {{"sync", "--pull", "--push"}, 2, "do not go together"},
           {{"sync", "--forget", ".", url}, 2, "a folder alone"},
           {{"sync", "--forget", "-n"}, 2, "a folder alone"},
           {{"sync", "--forget"}, 0, ""},
           {{"sync"}, 2, "is not paired"}});
    EXPECT_TRUE(fs::exists(there() / "in"));
    pair("bob");
    fs::rename(folder("bob"), work / "elsewhere");
    EXPECT_NE(sync("bob").errors.find("forget the pair"), std::string::npos);
    EXPECT_EQ(run("bob", {"sync", "--forget", folder("bob")}).exitCode, exitDone);
    EXPECT_NE(sync("bob").errors.find("cannot be found"), std::string::npos);
}

}  // namespace
}  // namespace quillon::cli
