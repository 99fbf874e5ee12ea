// What is in a person's way, and what they are told to do about it.
#include <algorithm>

#include "tests/cli/faulty_proxy.hpp"
#include "tests/sync/pair_test.hpp"

namespace quillon::cli {
namespace {

namespace fs = std::filesystem;

class WaysOut : public PairTest {
protected:
    WaysOut() {
        for (const char* name : {"d/a", "d/b.tmp", "e/f", "q.csv"})
            write(folder("ann") / name, std::string("old ") + name);
        proxy.on("*", "*", faultyHandler(server, Fault::none, countdown(0)));
        tells({"sync", "-y", "-q", "-x", "*.tmp", folder("ann"), proxy.url("t/")}, 0, "");
        EXPECT_EQ(sync("ann").exitCode, exitDone);
    }
    void tells(Arguments arguments, int exitCode, const std::string& text) const {
        support::Command all = commandOf("ann", std::move(arguments));
        all.directory = folder("ann");
        const auto outcome = support::run(all);
        const std::string told = outcome.output + outcome.errors;
        EXPECT_EQ(outcome.exitCode, exitCode) << told;
        EXPECT_NE(told.find(text), std::string::npos) << told;
    }
    std::string here(const std::string& name) const {
        return support::readFile(folder("ann") / name);
    }
    std::string thereIs(const std::string& name) const { return support::readFile(there() / name); }
    fs::path state() const {
        for (const auto& each : fs::recursive_directory_iterator(home / "ann/quillon/sync"))
            if (each.path().filename() == "state.db") return each.path();
        return {};
    }

    support::ScriptedServer proxy;
};

// A copy of theirs that was edited is theirs no more, and stays.
TEST_F(WaysOut, theirsIsFetchedOnceMore) {
    write(folder("ann") / "q.csv", "mine");
    ASSERT_LT(storeThere("q.csv", "theirs"), 300);
    EXPECT_EQ(sync("ann").exitCode, exitChanged);
    const auto copies = [this] {
        std::set<std::string> contents;
        for (const auto& [path, content] : filesIn(folder("ann")))
            if (path.starts_with("q (theirs, ")) contents.insert(content);
        return contents;
    };
    for (const auto& entry : fs::directory_iterator(folder("ann")))
        if (entry.path().filename().string().starts_with("q (theirs")) write(entry, "edited");
    tells({"resolve", "--theirs", "q.csv"}, exitChanged, "fetches theirs once more");
    EXPECT_EQ(sync("ann").exitCode, exitChanged);
    EXPECT_EQ(copies(), (std::set<std::string>{"edited", "theirs"}));
    EXPECT_EQ(sync("ann").exitCode, exitChanged);
    EXPECT_EQ(filesIn(there()).size(), 5u) << "a copy of theirs was sent";
    tells({"resolve", "--theirs", "q.csv"}, exitDone, "it is theirs now");
    EXPECT_EQ(here("q.csv"), "theirs");
    EXPECT_EQ(copies(), (std::set<std::string>{"edited"}));
    nothingIsLost({"mine", "edited", "theirs"});
}

TEST_F(WaysOut, whatTheStoreCannotHoldNamesTheOptions) {
    ASSERT_LT(storeThere("q.csv", "theirs"), 300);
    tells({"sync", "--keep-size", "1"}, exitNetwork,
          "quillon sync --keep-size SIZE makes it larger");
    EXPECT_EQ(here("q.csv"), "old q.csv");
    tells({"sync", "--no-keep"}, exitDone, "1 fetched");
}

TEST_F(WaysOut, whatIsLeftOutKeepsItsCollection) {
    ASSERT_LT(storeThere("d/b.tmp", "theirs"), 300);
    fs::remove_all(folder("ann") / "d");
    tells({"sync"}, 0, "d/ stays on the server, for it holds what is left out");
    tells({"sync"}, 0, "both sides are the same");
    EXPECT_EQ(sync("ann").errors, "");
    EXPECT_EQ(thereIs("d/b.tmp"), "theirs");
    EXPECT_FALSE(fs::exists(there() / "d/a") || fs::exists(folder("ann") / "d"));
    ASSERT_LT(storeThere("d/new", "new"), 300);
    tells({"sync"}, 0, "1 fetched, 1 made here");
    EXPECT_EQ(here("d/new"), "new");
    fs::remove_all(folder("ann") / "d");
    write(folder("ann") / "d", "a file");
    tells({"sync"}, exitNetwork, "d:\n  It stays, for it holds what is left out");
    EXPECT_EQ(here("d") + thereIs("d/b.tmp"), "a filetheirs");
    fs::remove(folder("ann") / "d");
    ASSERT_LT(ask("DELETE", "d/b.tmp"), 300);
    tells({"sync"}, 0, "1 removed there");
    EXPECT_FALSE(fs::exists(there() / "d"));
}

// What both had is not known any more: nothing goes on either side, and nothing is overwritten.
TEST_F(WaysOut, aDamagedStateIsSetAsideAndPairedAnew) {
    write(folder("ann") / "q.csv", "mine");
    ASSERT_LT(storeThere("q.csv", "theirs"), 300);
    ASSERT_LT(ask("DELETE", "d/a"), 300);
    fs::remove(folder("ann") / "e/f");
    for (const bool isWhole : {false, true}) {
        const fs::path file = state();
        // Either of its first page, or of all but that.
        std::string bytes = support::readFile(file);
        if (isWhole) std::fill(bytes.begin() + 4096, bytes.end(), 'x');
        support::writeFile(file, isWhole ? bytes : "damaged" + bytes.substr(7));
        tells({isWhole ? "sync" : "status"}, exitLocal,
              file.string() + (isWhole ? ".damaged-2." : ".damaged."));
        tells({"sync"}, exitUsage, "is not paired");
        tells({"sync", "-y", "-q", "-x", "*.tmp", ".", proxy.url("t/")}, exitChanged, "");
        EXPECT_EQ(here("q.csv"), "mine");
        EXPECT_EQ(thereIs("q.csv"), "theirs");
        for (const char* name : {"d/a", "e/f"}) {
            EXPECT_EQ(here(name), std::string("old ") + name);
            EXPECT_EQ(thereIs(name), std::string("old ") + name);
        }
    }
}

TEST_F(WaysOut, whatIsOfAnotherKindNowIsNotUndone) {
    ASSERT_LT(ask("DELETE", "e/"), 300);
    fs::remove(folder("ann") / "q.csv");
    fs::remove_all(folder("ann") / "d");
    tells({"sync", "--delete-many"}, 0, "");
    write(folder("ann") / "e", "a file");
    write(folder("ann") / "q.csv/in", "in a folder");
    write(folder("ann") / "d", "a file");
    EXPECT_EQ(sync("ann").exitCode, exitDone);
    tells({"undo"}, exitChanged, "e is a file now");
    tells({"undo"}, exitChanged, "q.csv is a folder now");
    tells({"undo"}, exitChanged, "d is a file now");
    EXPECT_EQ(thereIs("e") + thereIs("q.csv/in") + thereIs("d"), "a filein a foldera file");
}

TEST_F(WaysOut, whyNothingIsRemovedIsNamed) {
    fs::remove(folder("ann") / "q.csv");
    proxy.on("PROPFIND", "/t/e/", support::Answer(500));
    tells({"sync"}, exitChanged, "Nothing is removed, since e on the server could not be seen.\n");
    EXPECT_TRUE(fs::exists(there() / "q.csv"));
}

TEST_F(WaysOut, whoOnlyLooksNeedsNoDiskToWriteOn) {
    write(folder("ann") / "q.csv", "mine");
    const struct {
        Arguments arguments;
        int exitCode;
        const char* told;
    } rows[] = {{{"status"}, 0, "changed here           q.csv"},
                {{"sync", "-n"}, 0, " q.csv"},
                {{"log"}, 0, "stored q.csv"},
                {{"sync"}, exitLocal, "Read-only file system."}};
    for (const auto& [arguments, exitCode, told] : rows) {
        support::Command all = commandOf("ann", arguments);
        all.directory = folder("ann");
        const auto outcome = runReadOnly(home / "ann", all);
        if (!outcome) GTEST_SKIP() << "nothing can be mounted here";
        EXPECT_EQ(outcome->exitCode, exitCode) << outcome->errors;
        EXPECT_NE((outcome->output + outcome->errors).find(told), std::string::npos)
            << outcome->output << outcome->errors;
    }
}

TEST_F(WaysOut, whatQuillonNotesIsNotPaired) {
    for (const char* name : {"ann/quillon", "ann/quillon/sync/store"})
        tells({"sync", "-y", home / name, proxy.url("n/")}, exitUsage, "cannot be paired");
}

}  // namespace
}  // namespace quillon::cli
