// Signals at any time, and what a killed program leaves.
#include <algorithm>
#include <atomic>
#include <csignal>

#include "tests/cli/faults.hpp"

namespace quillon::cli {
namespace {

class Signals : public Faults {
protected:
    static void endsBy(int number, support::RunningProcess& program) {
        program.signal(number);
        EXPECT_EQ(program.wait()->exitCode, 130) << program.output() << program.errors();
    }
};

TEST_F(Signals, signalsDuringRequests) {
    const std::string& c = collection;
    const Answer slowToken = Answer(200, std::string(50, ' '))
                                 .with("Lock-Token", "<" + lockToken + ">")
                                 .slowly(5, std::chrono::milliseconds(50));
    server.on("GET", "/c/*", Answer(200, std::string(1'000'000, 'x')).stalledAfter(500'000))
        .on("PUT", "/c/*", Answer(201, "stored").stalledAfter(0))
        .on("LOCK", "/c/a", slowToken);
    struct Case {
        Arguments arguments;
        std::vector<int> signals;
        const char* method;
        long answered;
    };
    const Case rows[] = {
        {{"get", url}, {SIGINT, SIGTERM}, "GET", 1},
        {{"put", "a", url}, {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGUSR1, SIGUSR2}, "PUT", 1},
        {{"put", "a", c}, {SIGINT}, "LOCK", 1},
        {{"get", "-j3", c + "a", c + "b", c + "c", url}, {SIGINT}, "GET", 3},
        {{"put", "-j3", "a", "b", "c", c}, {SIGINT}, "PUT", 3},
        {{"put", "-", url}, {SIGINT}, "HEAD", 2},  // which nobody types
    };
    for (const Case& row : rows) {
        for (const int number : row.signals) {
            SCOPED_TRACE(testing::PrintToString(row.arguments) + std::to_string(number));
            server.clearRequests();
            support::RunningProcess program(command(row.arguments), support::Streams::terminal);
            ASSERT_TRUE(support::eventually([&] { return answered(row.method) == row.answered; }))
                << server.transcript() << program.output();
            endsBy(number, program);
            nothingStays();
        }
    }
}

TEST_F(Signals, twoSignalsLeaveALockThatIsToldOf) {
    const std::pair<const char*, std::string> rows[] = {
        {"LOCK", url + " may be locked now"},
        {"UNLOCK", "quillon unlock " + url + " --token " + lockToken}};
    for (const auto& [method, told] : rows) {
        server.on(method, "/c/file", Answer(200, "x").stalledAfter(0));
        support::RunningProcess program(command({"put", "a", url}));
        ASSERT_TRUE(support::eventually([&, method = method] { return answered(method) == 1; }));
        program.signal(SIGTERM);
        EXPECT_FALSE(program.wait(support::Duration{100}));
        endsBy(SIGTERM, program);
        EXPECT_NE(program.errors().find(told), std::string::npos) << program.errors();
        EXPECT_EQ(std::ranges::count(program.errors(), '\n'), 1);
        server.on(method, "/c/file", Answer(200).with("Lock-Token", "<" + lockToken + ">"));
    }
}

TEST_F(Signals, aSignalWhileALockIsAskedForIsAnInterrupt) {
    server.on("LOCK", "/c/file", Answer(200, "x").stalledAfter(0));
    support::RunningProcess program(command({"put", "--timeout", "1", "a", url}));
    ASSERT_TRUE(support::eventually([&] { return answered("LOCK") == 1; }));
    program.signal(SIGINT);
    const auto outcome = program.wait();
    ASSERT_TRUE(outcome);
    EXPECT_EQ(outcome->exitCode, 130) << outcome->errors;
}

TEST_F(Signals, aSignalWhileALockIsGivenBackIsAnInterrupt) {
    std::atomic<pid_t> process = 0;
    server.on("UNLOCK", "/c/file", [&](const support::Request&) {
        support::eventually([&] { return process != 0; });
        kill(process, SIGTERM);
        return Answer().dropped();
    });
    support::RunningProcess program(command({"put", "a", url}));
    process = program.pid();
    EXPECT_EQ(program.wait()->exitCode, 130) << program.errors();
    EXPECT_NE(program.errors().find("--token " + lockToken), std::string::npos) << program.errors();
}

TEST_F(Signals, aSignalEndsTheWaitForAPipe) {
    ASSERT_EQ(mkfifo((work / "pipe").c_str(), 0600), 0);
    ASSERT_EQ(mkfifo((work / "file").c_str(), 0600), 0);
    expect({{{"get", url}, 8, "no regular file"}, {{"get", "-O", ".", url}, 8, "no regular file"}});
    EXPECT_EQ(answered("GET"), 0);
    support::RunningProcess program(command({"get", "-o", "pipe", url}));
    ASSERT_TRUE(support::eventually([&] { return answered("GET") == 1; }));
    EXPECT_FALSE(program.wait(support::Duration{100}));
    endsBy(SIGINT, program);
    for (const char* name : {"pipe", "file"}) std::filesystem::remove(work / name);
    nothingStays();
}

TEST_F(Signals, signalsEndTheEditorButNotTheVersion) {
    editWith(
        "printf mine >> \"$1\"; touch \"$(dirname \"$1\")/.file.swp\"; echo editing; exec sleep "
        "1000");
    for (const int number : {SIGTERM, SIGUSR1}) {
        support::RunningProcess program(command({"edit", url}));
        ASSERT_TRUE(program.expect("editing"));
        program.signal(SIGINT);  // the editor's own
        EXPECT_FALSE(program.wait(support::Duration{100}));
        endsBy(number, program);
        EXPECT_EQ(answered("PUT"), 0);
        versionStays(".file.mine.swp");
        nothingStays();
    }
}

TEST_F(Signals, signalsOfTheKeyboardReachTheCommandAlone) {
    support::RunningProcess program(
        command({"lock", url, "--", "sh", "-c", "echo running; exec sleep 1000"}),
        support::Streams::terminal);
    ASSERT_TRUE(program.expect("running"));
    program.send("\x03");
    EXPECT_EQ(program.wait()->exitCode, 130) << program.output();
    nothingStays();
}

TEST_F(Signals, whatAKilledProgramLeftIsFoundByTheNext) {
    server.on("PUT", "/c/*", Answer(201, "x").stalledAfter(0));
    server.on("GET", "/c/*", Answer(200, "content").stalledAfter(3));
    std::filesystem::create_symlink("nothing", work / "link");  // through which it takes a cache
    for (const Arguments& arguments :
         {Arguments{"put", "a", url}, Arguments{"get", "-o", "link", url}}) {
        support::RunningProcess program(command(arguments));
        const char* method = arguments[0] == "put" ? "PUT" : "GET";
        ASSERT_TRUE(support::eventually([&] { return answered(method) == 1; }));
        program.signal(SIGKILL);
        program.wait();
    }
    ASSERT_GT(localFiles().size(), 4u);
    makeOld(work.path());
    server.on("GET", "/c/*", Answer(200, "new"));
    const std::string told = quillon({"get", "-o", "a", url}).errors;
    EXPECT_EQ(answered("UNLOCK"), 1) << told;
    EXPECT_EQ(localFiles(), (Names{"a", "b", "c", "link"}));
}

}  // namespace
}  // namespace quillon::cli
