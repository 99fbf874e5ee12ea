// Writing to servers that fail, and signals meanwhile.
#include <csignal>

#include "tests/cli/writing.hpp"
#include "tests/support/dav_tree.hpp"
#include "tests/support/scripted_server.hpp"

namespace quillon::cli {
namespace {

using support::Answer;

class WritingFaults : public WritingTest {
protected:
    WritingFaults() {
        support::serveTree(server, "/c/", {{"file", "old "}});
        support::writeFile(work / "f", "new");
    }
    bool unlocked() const {
        return server.transcript().find("UNLOCK /c/file 204") != std::string::npos;
    }
    support::ScriptedServer server;
};

TEST_F(WritingFaults, aStoreThatFailsKeepsTheVersionAndGivesTheLockBack) {
    struct Row {
        Answer put;
        int exitCode;
        const char* told;
    };
    const Row rows[] = {
        {Answer(507), 1, "no room left"},
        {Answer(423), 5, "Somebody else holds a lock"},
        {Answer(403), 1, "403 (Forbidden)"},
        {Answer(500), 7, "500 (Internal Server Error)"},
        {Answer(201).closeAfterBody(2), 7, "PUT"},
        {Answer(201).dropped(), 7, "PUT"},
        {Answer(412), 6, "412 (Precondition Failed)"},  // even under the new lock
    };
    for (const Row& row : rows) {
        server.on("PUT", "/c/file", row.put);
        server.clearRequests();
        const auto outcome = edit(server.url("c/file"), "printf mine >> \"$1\"");
        EXPECT_EQ(outcome.exitCode, row.exitCode) << row.told << outcome.errors;
        EXPECT_NE(outcome.errors.find(row.told), std::string::npos) << outcome.errors;
        EXPECT_NE(outcome.errors.find("your version is in"), std::string::npos) << outcome.errors;
        EXPECT_EQ(support::readFile(work / "file.mine"), "old mine");
        EXPECT_TRUE(unlocked()) << server.transcript();
        EXPECT_TRUE(cacheDirectories().empty());
        std::filesystem::remove(work / "file.mine");
        EXPECT_EQ(quillon({"put", "f", server.url("c/file")}).exitCode, row.exitCode) << row.told;
    }
}

TEST_F(WritingFaults, locksThatAreNone) {
    struct Row {
        Answer lock;
        int exitCode;
        bool stored;
    };
    const Row rows[] = {
        {Answer(200), 7, false},  // without a token
        {Answer(423), 5, false}, {Answer(500), 7, false}, {Answer(200).dropped(), 7, false},
        {Answer(403), 0, true},  // then the date is what protects
        {Answer(501), 0, true},
    };
    for (const Row& row : rows) {
        server.on("LOCK", "/c/file", row.lock);
        server.clearRequests();
        const auto outcome = quillon({"put", "f", server.url("c/file")});
        EXPECT_EQ(outcome.exitCode, row.exitCode) << outcome.errors;
        EXPECT_EQ(server.transcript().find("PUT") != std::string::npos, row.stored);
    }
}

TEST_F(WritingFaults, aLockThatStaysIsToldOfWithItsToken) {
    const std::string locks = std::string(
                                  "<D:multistatus xmlns:D=\"DAV:\"><D:response><D:href>/c/"
                                  "file</D:href><D:propstat><D:prop><D:lockdiscovery>"
                                  "<D:activelock><D:locktoken><D:href>") +
                              support::davLockToken +
                              "</D:href></D:locktoken></D:activelock></D:lockdiscovery></D:prop>"
                              "</D:propstat></D:response></D:multistatus>";
    for (const Answer& answer : {Answer(500), Answer(200).dropped()}) {
        server.on("UNLOCK", "/c/file", answer);
        server.on("PROPFIND", "/c/file", Answer::xml(207, locks));
        const auto outcome = quillon({"put", "f", server.url("c/file")});
        EXPECT_EQ(outcome.exitCode, 7);
        EXPECT_NE(outcome.errors.find("quillon unlock " + server.url("c/file") + " --token " +
                                      support::davLockToken),
                  std::string::npos)
            << outcome.errors;
    }
}

TEST_F(WritingFaults, aSignalDuringAnUploadGivesTheLockBack) {
    server.on("PUT", "/c/file", Answer(201, "stored").stalledAfter(0));
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        server.clearRequests();
        support::RunningProcess program(command({"put", "f", server.url("c/file")}));
        // HEAD; OPTIONS, HEAD; OPTIONS, LOCK; OPTIONS, HEAD, PROPFIND; PUT
        ASSERT_TRUE(server.waitForRequests(9));
        program.signal(number);
        EXPECT_EQ(program.wait()->exitCode, 130) << program.errors();
        EXPECT_TRUE(unlocked()) << server.transcript();
        EXPECT_TRUE(cacheDirectories().empty());
        EXPECT_EQ(support::readFile(work / "f"), "new");
    }
}

TEST_F(WritingFaults, aSignalDuringALockWaitsForItsToken) {
    const std::string token = std::string("<") + support::davLockToken + ">";
    server.on("LOCK", "/c/file",
              Answer(200, std::string(50, ' '))
                  .with("Lock-Token", token)
                  .slowly(5, std::chrono::milliseconds(50)));
    support::RunningProcess program(command({"put", "f", server.url("c/file")}));
    ASSERT_TRUE(server.waitForRequests(5));
    program.signal(SIGINT);
    EXPECT_EQ(program.wait()->exitCode, 130) << program.errors();
    EXPECT_TRUE(unlocked()) << server.transcript();
}

class Signals : public WritingTest {};

TEST_F(Signals, endTheEditorButNotTheVersion) {
    for (const int number : {SIGTERM, SIGHUP}) {
        const support::Apache server;
        server.addMember("a.txt", "old ");
        support::RunningProcess program(
            withEditor({"edit", server.url("a.txt")},
                       "printf mine >> \"$1\"; touch \"$(dirname \"$1\")/.a.txt.swp\"; echo "
                       "editing; exec sleep 1000"));
        ASSERT_TRUE(program.expect("editing"));
        EXPECT_EQ(lockTokens(server).size(), 1u);
        program.signal(SIGINT);  // the editor's own
        EXPECT_FALSE(program.wait(support::Duration{100}));
        program.signal(number);
        EXPECT_EQ(program.wait()->exitCode, 130) << program.errors();
        EXPECT_TRUE(lockTokens(server).empty());
        EXPECT_EQ(content(server, "a.txt"), "old ");
        EXPECT_EQ(support::readFile(work / "a.mine.txt"), "old mine");
        EXPECT_EQ(localFiles(), (std::vector<std::string>{".a.txt.mine.swp", "a.mine.txt"}));
        EXPECT_TRUE(cacheDirectories().empty());
        for (const std::string& name : localFiles()) std::filesystem::remove(work / name);
    }
}

TEST_F(Signals, ofTheKeyboardReachTheCommandAlone) {
    const support::Apache server;
    server.addMember("a", "old");
    support::RunningProcess program(
        command({"lock", server.url("a"), "--", "sh", "-c", "echo running; exec sleep 1000"}),
        support::Streams::terminal);
    ASSERT_TRUE(program.expect("running"));
    program.send("\x03");
    EXPECT_EQ(program.wait()->exitCode, 130) << program.output();
    EXPECT_TRUE(lockTokens(server).empty());
    EXPECT_TRUE(cacheDirectories().empty());
}

}  // namespace
}  // namespace quillon::cli
