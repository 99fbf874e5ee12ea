// The commands for trees, in which each request in turn goes wrong in each way, or the program is
// ended: every file is the old or the new one, nothing stays behind, and a rerun does the rest.
#include <fmt/format.h>

#include <csignal>
#include <cstdlib>
#include <map>

#include "cli/terminal/exit_code.hpp"
#include "tests/cli/faulty_proxy.hpp"
#include "tests/cli/program.hpp"

namespace quillon::cli {
namespace {

namespace fs = std::filesystem;
using Files = std::map<std::string, std::string>;  // contents by paths

struct TreeRow {
    const char* name;
    Arguments arguments;  // HERE and OTHER stand for the two proxies
    Arguments again{};    // what a rerun needs besides
};

const TreeRow treeRows[] = {
    {"get", {"get", "-r", "HERE/t/"}},
    {"put", {"put", "-r", "--delete", "t", "HERE/"}},
    {"copy", {"cp", "-r", "HERE/t/", "HERE/place/"}, {"--force"}},
    {"copyBetween", {"cp", "-r", "HERE/t/", "OTHER/"}, {"--force"}},
    {"move", {"mv", "HERE/t/", "HERE/moved/"}, {"--force"}},
    {"moveBetween", {"mv", "HERE/t/", "OTHER/"}, {"--force"}},
    {"remove", {"rm", "-r", "--yes", "HERE/t/"}},
};

const Way ways[] = {{"cutBeforeTheRequest", Fault::beforeRequest},
                    {"cutInTheRequest", Fault::inRequest},
                    {"cutBeforeTheAnswer", Fault::beforeAnswer},
                    {"cutInTheAnswer", Fault::inAnswer},
                    {"refused", Fault::refused}};

Files filesIn(const fs::path& root) {
    Files found;
    for (const auto& entry : fs::recursive_directory_iterator(root)) {
        const std::string path = entry.path().lexically_relative(root);
        if (path.find(".DAV") != path.npos) continue;
        found[path] = entry.is_directory() ? "/" : support::readFile(entry.path());
    }
    return found;
}

class TreeCampaign : public ProgramTest {
protected:
    explicit TreeCampaign(TreeRow tree) : row(std::move(tree)) {
        for (const char* folder : {"place", "t", "t/sub", "t/sub/none"})
            server.addCollection(folder);
        addOldMember(server, "t/a", std::string(3000, 'a'));
        addOldMember(server, "t/sub/b", std::string(3000, 'b'));
        addOldMember(server, "t/sub/gone", std::string(3000, 'g'));
        const bool isLocal = row.arguments[0] == "get" || row.arguments[0] == "put";
        handOnAll(Fault::none, 0);
        if (isLocal) expect({{{"get", "-r", "--quiet", here.url("t/")}, 0, ""}});
        if (row.arguments[0] == "get") addOldMember(server, "t/a", std::string(4000, 'A'));
        if (row.arguments[0] == "get") server.addMember("t/new", std::string(3000, 'n'));
        if (row.arguments[0] == "put") {
            fs::create_directories(work / "t/more");
            fs::remove(work / "t/sub/gone");
            for (const char* name : {"t/new", "t/more/m"})
                writeFile(work / name, std::string(3000, 'n'));
            writeFile(work / "t/a", std::string(4000, 'A'));
        }
        fs::create_directories(places.back());
        for (const fs::path& place : places) copy(place, saved.path() / place.relative_path());
        start = now();
    }

    std::vector<Files> now() const {
        return {filesIn(places[0]), filesIn(places[1]), filesIn(places[2])};
    }
    static void copy(const fs::path& from, const fs::path& to) {
        support::runChecked(
            {.arguments = {"sh", "-c", "mkdir -p \"$1\"; cp -a \"$0\"/. \"$1\"", from, to}});
    }
    void restore() const {
        for (const fs::path& place : places) {
            for (const auto& entry : fs::directory_iterator(place)) fs::remove_all(entry);
            copy(saved.path() / place.relative_path(), place);
        }
    }

    void handOnAll(Fault fault, size_t nth) {
        const Countdown left = countdown(nth);
        here.on("*", "*", faultyHandler(server, fault, left)).clearRequests();
        there.on("*", "*", faultyHandler(other, fault, left)).clearRequests();
    }
    size_t requests() const { return here.requests().size() + there.requests().size(); }

    Arguments line(const Arguments& more = {}) const {
        Arguments all = row.arguments;
        for (std::string& word : all) {
            const std::string from = here.url(), to = there.url();
            if (word.starts_with("HERE/")) word.replace(0, 5, from);
            if (word.starts_with("OTHER/")) word.replace(0, 6, to);
        }
        all.insert(all.begin() + 1, {"--timeout", "2", "--quiet"});
        all.insert(all.end(), more.begin(), more.end());
        return all;
    }
    void waitUntilIdle() const {
        server.waitUntilIdle();
        other.waitUntilIdle();
    }

    // With what it needs to know of the server, and the state that it shall reach.
    void runSmoothly() {
        restore();
        const auto first = quillon(line());
        ASSERT_EQ(first.exitCode, exitDone) << first.errors;
        goal = now();
        const fs::path known = home / "state/quillon/servers";
        if (fs::exists(known)) copy(known, saved.path() / known.relative_path());
        restore();
        handOnAll(Fault::none, 0);
        EXPECT_EQ(quillon(line()).exitCode, exitDone);
        needed = requests();
    }

    // Each file is the old or the new one, and none is lost.
    void nothingIsHalf() const {
        for (size_t i = 0; i < goal.size(); ++i) {
            for (const auto& [path, content] : filesIn(places[i])) {
                const auto is = [&, &path = path, &content = content](const Files& files) {
                    const auto found = files.find(path);
                    return found != files.end() && found->second == content;
                };
                EXPECT_TRUE(is(start[i]) || is(goal[i]))
                    << places[i] << " has " << path << " of " << content.size() << " bytes";
            }
        }
        if (row.arguments[0] == "rm") return;
        const auto remains = [&](const std::string& content) {
            for (size_t i = 0; i < goal.size(); ++i)
                for (const auto& [path, found] : filesIn(places[i]))
                    if (found == content) return true;
            return false;
        };
        for (const auto& files : goal)
            for (const auto& [path, content] : files) EXPECT_TRUE(remains(content)) << path;
    }

    // A lock that stays is told of with the command that removes it, which works.
    void noLockStaysUnnoticed(const std::string& errors) const {
        removeToldLocks(errors);
        for (const auto* each : {&server, &other}) {
            for (const auto& [path, content] : filesIn(each->documentRoot())) {
                if (content != "/") continue;
                EXPECT_EQ(lockTokens(*each, "", "/" + path + "/"), Arguments()) << path;
            }
        }
    }

    void rerunDoesTheRest(const std::string& lost) {
        handOnAll(Fault::none, 0);
        const auto rerun = quillon(line(row.again));
        const bool isDone = row.arguments[0] == "mv" || row.arguments[0] == "rm";
        EXPECT_TRUE(rerun.exitCode == exitDone || (isDone && rerun.exitCode == exitNotFound))
            << lost << rerun.exitCode << ' ' << rerun.errors;
        const std::vector<Files> end = now();
        for (size_t i = 0; i < end.size(); ++i) {
            std::string differs;
            for (const auto& [path, content] : goal[i])
                if (!end[i].contains(path)) differs += " no " + path;
            for (const auto& [path, content] : end[i])
                if (!goal[i].contains(path)) differs += " still " + path;
            EXPECT_TRUE(end[i] == goal[i]) << i << differs << "\n" << lost << rerun.errors;
        }
        EXPECT_EQ(cacheDirectories(), Names{});
    }

    const TreeRow row;
    const Apache server, other;
    support::ScriptedServer here, there;
    const support::TemporaryDirectory saved;
    const std::vector<fs::path> places{work.path(), server.documentRoot(), other.documentRoot(),
                                       home / "state"};
    std::vector<Files> start, goal;
    size_t needed = 0;
};

class TreeFaults : public TreeCampaign,
                   public testing::WithParamInterface<std::tuple<TreeRow, Way>> {
protected:
    TreeFaults() : TreeCampaign(std::get<TreeRow>(GetParam())) {}
};

TEST_P(TreeFaults, loseNothing) {
    runSmoothly();
    ASSERT_GE(needed, 2u);
    // Each way has its share of the requests, unless all are asked for.
    const Fault fault = std::get<Way>(GetParam()).second;
    const size_t step = std::getenv("QUILLON_WHOLE_CAMPAIGN") != nullptr ? 1 : 1 + needed / 15;
    for (size_t nth = 1 + static_cast<size_t>(fault) % step; nth <= needed; nth += step) {
        restore();
        handOnAll(fault, nth);
        const auto outcome = quillon(line());
        waitUntilIdle();
        SCOPED_TRACE(fmt::format("request {} of {}: {}\n{}{}{}", nth, needed, outcome.exitCode,
                                 outcome.errors, here.transcript(), there.transcript()));
        EXPECT_TRUE(outcome.exitCode >= exitDone && outcome.exitCode <= exitLocal);
        EXPECT_EQ(outcome.exitCode == exitDone, outcome.errors.empty());
        EXPECT_EQ(cacheDirectories(), Names{});
        nothingIsHalf();
        noLockStaysUnnoticed(outcome.errors);
        rerunDoesTheRest(outcome.errors);
        if (HasFailure()) break;
    }
}

INSTANTIATE_TEST_SUITE_P(, TreeFaults,
                         testing::Combine(testing::ValuesIn(treeRows), testing::ValuesIn(ways)),
                         [](const auto& row) {
                             return fmt::format("{}_{}", std::get<0>(row.param).name,
                                                std::get<1>(row.param).first);
                         });

class TreeSignals : public TreeCampaign,
                    public testing::WithParamInterface<std::tuple<TreeRow, int>> {
protected:
    TreeSignals() : TreeCampaign(std::get<TreeRow>(GetParam())) {}
};

// The server has the request by then, and its answer does not come.
TEST_P(TreeSignals, loseNothing) {
    runSmoothly();
    const int number = std::get<int>(GetParam());
    for (size_t nth = 1; nth <= needed; nth += 1 + needed / 4) {
        restore();
        handOnAll(Fault::stall, nth);
        std::string errors;
        {
            support::RunningProcess program(command(line()));
            ASSERT_TRUE(support::eventually([&] { return requests() >= nth; }));
            support::eventually([&] { return !program.running(); }, support::Duration{50});
            program.signal(number);
            const auto outcome = program.wait();
            errors = outcome->errors;
            EXPECT_EQ(outcome->exitCode, number == SIGKILL ? -1 : exitInterrupted)
                << fmt::format("request {} of {}: {}\n{}{}", nth, needed, outcome->exitCode, errors,
                               here.transcript());
        }
        waitUntilIdle();
        SCOPED_TRACE(fmt::format("request {}: {}", nth, errors));
        nothingIsHalf();
        if (number == SIGKILL) errors += quillon(line({"--dry-run"})).errors;
        noLockStaysUnnoticed(errors);
        rerunDoesTheRest(errors);
        if (HasFailure()) break;
    }
}

INSTANTIATE_TEST_SUITE_P(
    , TreeSignals, testing::Combine(testing::ValuesIn(treeRows), testing::Values(SIGINT, SIGKILL)),
    [](const auto& row) {
        return fmt::format("{}_{}", std::get<0>(row.param).name,
                           std::get<1>(row.param) == SIGINT ? "interrupted" : "killed");
    });

}  // namespace
}  // namespace quillon::cli
