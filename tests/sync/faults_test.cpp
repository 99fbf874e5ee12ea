// A run in which each request in turn goes wrong in each way, or which is killed at each change of
// its disk: nothing is lost, and the next run does the rest.
#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <functional>

#include "tests/cli/faulty_proxy.hpp"
#include "tests/sync/pair_test.hpp"

namespace quillon::cli {
namespace {

namespace fs = std::filesystem;

// The nth of a campaign: all of them where the whole of it is asked for.
size_t stepOf(size_t needed, size_t share) {
    return std::getenv("QUILLON_WHOLE_CAMPAIGN") != nullptr ? 1 : 1 + needed / share;
}

class Campaign : public PairTest {
protected:
    Campaign() {
        handOnAll(Fault::none, 0);
        for (const char* name : {"changed here", "changed-there", "both", "gone here", "gone-there",
                                 "moved", "d/x", "d/y", "e/z"})
            write(folder("ann") / name, std::string("old ") + name + std::string(500, '.'));
        pair("ann", proxy.url("t/"));
        for (const auto& [path, content] : filesIn(there()))
            if (content != "/") makeOld(there() / path);
        EXPECT_EQ(sync("ann").exitCode, exitDone);
        EXPECT_EQ(sync("ann").exitCode, exitDone);
        act();
        for (const fs::path& place : places()) copy(place, saved.path() / place.relative_path());
        goal = firstRun();
    }

    void act() const {
        const fs::path here = folder("ann");
        for (const char* name : {"changed here", "both", "new here", "f/new"})
            write(here / name, std::string("here ") + name + std::string(700, '-'));
        fs::remove(here / "gone here");
        fs::rename(here / "moved", here / "was moved");
        fs::remove_all(here / "d");
        EXPECT_LT(storeThere("changed-there", "there changed" + std::string(600, '+')), 300);
        EXPECT_LT(storeThere("both", "there both" + std::string(650, '+')), 300);
        EXPECT_LT(ask("MKCOL", "g/"), 300);
        EXPECT_LT(storeThere("g/new", "there g/new" + std::string(600, '+')), 300);
        EXPECT_LT(ask("DELETE", "gone-there"), 300);
        EXPECT_LT(ask("DELETE", "e/"), 300);
    }

    std::vector<fs::path> places() const { return {work.path(), there(), home / "ann"}; }
    static void copy(const fs::path& from, const fs::path& to) {
        support::runChecked(
            {.arguments = {"sh", "-c", "mkdir -p \"$1\"; cp -a \"$0\"/. \"$1\"", from, to}});
    }
    // Files get other inodes than the state knows: it reads them anew, and finds them the same.
    void restore() const {
        for (const fs::path& place : places()) {
            for (const auto& entry : fs::directory_iterator(place)) fs::remove_all(entry);
            copy(saved.path() / place.relative_path(), place);
        }
    }
    void handOnAll(Fault fault, size_t nth) {
        proxy.on("*", "*", faultyHandler(server, fault, countdown(nth))).clearRequests();
    }

    Files firstRun() {
        restore();
        EXPECT_EQ(sync("ann").exitCode, exitChanged);
        // What it learned of the server it need not learn again.
        copy(home / "ann/quillon/servers",
             saved.path() / (home / "ann").relative_path() / "quillon/servers");
        const Files done = filesIn(there());
        EXPECT_TRUE(done.contains("was moved") || done.contains("new here"));
        return done;
    }

    void theNextRunsDoTheRest() {
        handOnAll(Fault::none, 0);
        auto outcome = sync("ann");
        for (int again = 0; again < 3 && outcome.exitCode != exitChanged; ++again)
            outcome = sync("ann");
        EXPECT_EQ(outcome.exitCode, exitChanged) << outcome.errors;  // "both" is in conflict
        EXPECT_EQ(filesIn(there()), goal) << outcome.errors;
        Files here = filesIn(folder("ann"));
        EXPECT_EQ(
            std::erase_if(
                here, [](const auto& each) { return each.first.starts_with("both (theirs, "); }),
            1u);
        EXPECT_EQ(here["both"].substr(0, 4), "here");
        here["both"] = goal["both"];
        EXPECT_EQ(here, goal);
        nothingIsLeft("ann");
    }

    support::ScriptedServer proxy;
    const support::TemporaryDirectory saved;
    Files goal;
};

class PairFaults : public Campaign, public testing::WithParamInterface<Way> {};

TEST_P(PairFaults, loseNothing) {
    restore();
    handOnAll(Fault::none, 0);
    sync("ann");
    const size_t needed = proxy.requests().size();
    const size_t step = stepOf(needed, 8);
    const Fault fault = GetParam().second;
    for (size_t nth = 1 + static_cast<size_t>(fault) % step; nth <= needed && !HasFailure();
         nth += step) {
        restore();
        const auto before = contentsAnywhere();
        handOnAll(fault, nth);
        const auto outcome = sync("ann");
        server.waitUntilIdle();
        SCOPED_TRACE(fmt::format("request {} of {}: {} {}\n{}", nth, needed, outcome.exitCode,
                                 outcome.errors, proxy.transcript()));
        EXPECT_TRUE(outcome.exitCode >= exitChanged && outcome.exitCode <= exitLocal);
        nothingIsLost(before);
        handOnAll(Fault::none, 0);
        removeToldLocks(outcome.errors);
        theNextRunsDoTheRest();
    }
}

INSTANTIATE_TEST_SUITE_P(, PairFaults,
                         testing::Values(Way{"cutBeforeTheRequest", Fault::beforeRequest},
                                         Way{"cutInTheRequest", Fault::inRequest},
                                         Way{"cutBeforeTheAnswer", Fault::beforeAnswer},
                                         Way{"cutInTheAnswer", Fault::inAnswer},
                                         Way{"refused", Fault::refused}),
                         [](const auto& way) { return way.param.first; });

class PairKills : public Campaign, public testing::WithParamInterface<int> {
protected:
    support::Outcome killedAt(size_t nth) const {
        support::Command all = commandOf("ann", {"sync", "--quiet", folder("ann")});
        all.environment["LD_PRELOAD"] = KILL_AT;
        all.environment["ASAN_OPTIONS"] = "verify_asan_link_order=0";  // it comes second
        all.environment["KILL_AT"] = std::to_string(nth);
        all.environment["KILL_COUNT"] = home / "count";
        return support::run(all);
    }
    // Whatever is done behind a kill, at changes from the first to the last.
    void killInTurn(size_t share, const std::function<void()>& behind) {
        restore();
        EXPECT_EQ(killedAt(0).exitCode, exitChanged);
        const auto needed =
            static_cast<size_t>(std::atol(support::readFile(home / "count").c_str()));
        ASSERT_GT(needed, 40u);
        const size_t step = stepOf(needed, share);
        for (size_t nth = 1 + static_cast<size_t>(GetParam()) % step;
             nth <= needed && !HasFailure(); nth += step) {
            restore();
            const auto before = contentsAnywhere();
            const auto outcome = killedAt(nth);
            server.waitUntilIdle();
            SCOPED_TRACE(fmt::format("change {} of {}: {}", nth, needed, outcome.errors));
            // Near the end a run may be through, since not each makes as many groups of its notes.
            const bool mayBeThrough = nth > needed - needed / 8;
            EXPECT_TRUE(outcome.exitCode == -1 || (mayBeThrough && outcome.exitCode == exitChanged))
                << outcome.exitCode;
            nothingIsLost(before);
            behind();
        }
    }
};

TEST_P(PairKills, loseNothing) {
    killInTurn(20, [this] { theNextRunsDoTheRest(); });
}

TEST_P(PairKills, canBeUndone) {
    killInTurn(4, [this] {
        const auto before = contentsAnywhere();
        const auto undone = run("ann", {"undo", "-C", folder("ann")});
        EXPECT_TRUE(undone.exitCode == exitDone || undone.exitCode == exitNotFound)
            << undone.errors;
        Files here = filesIn(folder("ann")), onServer = filesIn(there());
        for (const char* name : {"changed-there", "gone-there", "e/z"})
            EXPECT_EQ(here[name].substr(0, 4), "old ") << name;
        for (const char* name : {"changed here", "gone here", "d/x", "d/y"})
            EXPECT_EQ(onServer[name].substr(0, 4), "old ") << name;
        nothingIsLost(before);
        // What was given back goes to the other side, and is not done once more.
        for (int again = 0; again < 3; ++again) sync("ann");
        here = filesIn(folder("ann"));
        onServer = filesIn(there());
        static const std::regex givenBack("given back (here|there) (.*)\n");
        std::sregex_iterator at(undone.output.begin(), undone.output.end(), givenBack), end;
        for (; at != end; ++at) {
            EXPECT_EQ(here[(*at)[2]].substr(0, 4), "old ") << (*at)[2];
            EXPECT_EQ(onServer[(*at)[2]].substr(0, 4), "old ") << (*at)[2];
        }
        nothingIsLost(before);
        nothingIsLeft("ann");
    });
}

INSTANTIATE_TEST_SUITE_P(, PairKills, testing::Range(0, 2));

class PairMishaps : public PairTest {
protected:
    PairMishaps() {
        handOnAll();
        write(folder("ann") / "a", "old");
        pair("ann", proxy.url("t/"));
        makeOld(there() / "a");
        for (int again = 0; again < 2; ++again) EXPECT_EQ(sync("ann").exitCode, exitDone);
    }
    void handOnAll() {
        proxy.on("*", "*", faultyHandler(server, Fault::none, countdown(0))).clearRequests();
    }

    support::ScriptedServer proxy;
};

TEST_F(PairMishaps, aLockThatStaysIsToldOfWhatIsStored) {
    write(folder("ann") / "a", "new");
    fs::remove_all(home / "ann/quillon/servers");
    proxy.on("PUT", "/t/.quillon-scratch*", support::Answer(403));  // so that a lock is taken
    proxy.on("UNLOCK", "*", support::Answer(403));
    const auto outcome = sync("ann");
    EXPECT_EQ(outcome.exitCode, exitNetwork) << outcome.errors;
    EXPECT_NE(outcome.errors.find("a: It is done, but the lock"), std::string::npos)
        << outcome.errors;
    EXPECT_EQ(outcome.errors.find("cannot"), std::string::npos) << outcome.errors;
    EXPECT_EQ(support::readFile(there() / "a"), "new");
    handOnAll();
    removeToldLocks(outcome.errors);
    EXPECT_EQ(sync("ann").exitCode, exitDone);
    EXPECT_EQ(run("ann", {"log", folder("ann")}).output.find("perhaps"), std::string::npos);
}

// What a killed run began to store is no reason to go over what somebody else makes there.
TEST_F(PairMishaps, aHalfMadeNameIsSomebodyElsesOnce) {
    write(folder("ann") / "n", "mine");
    proxy.on("PUT", "/t/n", support::Answer(201, "x").stalledAfter(0));
    support::RunningProcess program(commandOf("ann", {"sync", folder("ann")}));
    ASSERT_TRUE(support::eventually([this] {
        return std::ranges::any_of(proxy.requests(), [](const auto& each) {
            return each.method + each.target == "PUT/t/n";
        });
    }));
    program.signal(SIGKILL);
    program.wait();
    handOnAll();
    for (const char* theirs : {"theirs", ""}) {
        ASSERT_LT(storeThere("n", theirs), 300);
        EXPECT_EQ(sync("ann").exitCode, exitChanged);
        EXPECT_EQ(support::readFile(there() / "n"), theirs);
    }
}

}  // namespace
}  // namespace quillon::cli
