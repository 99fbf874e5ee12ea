// Servers that fail or lie, unreachable ones, and signals.
#include <csignal>

#include "tests/cli/program.hpp"
#include "tests/support/dav_tree.hpp"
#include "tests/support/scripted_server.hpp"

namespace quillon::cli {
namespace {

using support::Answer;

class Faults : public ProgramTest {
protected:
    Faults() {
        support::serveTree(server, "/c/", {{"file", "content"}});
        support::writeFile(work / "file", "old");
    }

    void nothingIsLeft() {
        EXPECT_EQ(support::readFile(work / "file"), "old");
        EXPECT_EQ(localFiles(), std::vector<std::string>{"file"});
        EXPECT_TRUE(cacheDirectories().empty());
    }

    support::ScriptedServer server;
};

TEST_F(Faults, aFetchThatFailsLeavesTheOldFile) {
    struct Row {
        Answer answer;
        int exitCode;
        const char* told;
    };
    const Row rows[] = {
        {Answer(200, "content").truncatedAfter(3), 7, "GET"},
        {Answer(200, "content").resetAfter(3), 7, "GET"},
        {Answer(200, "content").stalledAfter(3), 7, "no byte moved"},
        {Answer(200, std::string(5000, 'x')).garbageChunks(), 7, "GET"},
        {Answer(500, "sorry"), 7, "500 (Internal Server Error)"},
        {Answer(403, "no"), 1, "403 (Forbidden)"},
        {Answer(404, "gone"), 3, "404 (Not Found)"},
        {Answer(301).with("Location", "http://localhost:1/c/file"), 1, "http://localhost:1/c/file"},
        {Answer::raw("not HTTP at all\r\n\r\n"), 7, "GET"},
    };
    for (const Row& row : rows) {
        server.on("GET", "/c/file", row.answer);
        const auto outcome = quillon({"get", "--timeout", "1", server.url("c/file")});
        EXPECT_EQ(outcome.exitCode, row.exitCode) << outcome.errors;
        EXPECT_NE(outcome.errors.find(row.told), std::string::npos) << outcome.errors;
        EXPECT_NE(outcome.errors.find("cannot fetch " + server.url("c/file")), std::string::npos);
        nothingIsLeft();
    }
}

TEST_F(Faults, aListingThatCannotBeTrustedIsNone) {
    const std::string good = support::davResponse("/c/file", {"file", "content"});
    struct Row {
        Answer answer;
        int exitCode;
    };
    const Row rows[] = {
        {Answer::xml(207, "<D:multistatus xmlns:D=\"DAV:\"><D:response>"), 7},
        {Answer::xml(207, "<!DOCTYPE x [<!ENTITY a \"b\">]>" + support::davMultistatus(good)), 7},
        {Answer::xml(207, support::davMultistatus(good + "<D:response><D:href>/c/x</D:href>"
                                                         "</D:response>")),
         7},
        {Answer::xml(207, support::davMultistatus(good)).truncatedAfter(100), 7},
        {Answer(207, "no XML"), 7},
        {Answer(500), 7},
        {Answer(403), 1},
        {Answer(405), 1},
    };
    for (const Row& row : rows) {
        server.on("PROPFIND", "/c/", row.answer);
        const auto outcome = quillon({"ls", server.url("c/")});
        EXPECT_EQ(outcome.exitCode, row.exitCode) << outcome.errors;
        EXPECT_EQ(outcome.output, "");
        EXPECT_NE(outcome.errors.find("cannot list"), std::string::npos);
    }
}

TEST_F(Faults, aDisplayNameDoesNotStandForTheName) {
    server.on("PROPFIND", "/c/",
              Answer::xml(207, support::davMultistatus(support::davResponse(
                                   "/c/real%20name", {"real%20name", "", "../../etc/passwd"}))));
    EXPECT_EQ(quillon({"ls", server.url("c/")}).output, "real name\n");
}

TEST_F(Faults, namesCannotCommandATerminal) {
    server.on("PROPFIND", "/c/",
              Answer::xml(207, support::davMultistatus(
                                   support::davResponse("/c/%1B%5B2J%0Ax", {"x", ""}))));
    EXPECT_EQ(quillon({"ls", server.url("c/")}).output, "\x1B[2J\nx\n");
    support::RunningProcess shown(command({"ls", server.url("c/")}), support::Streams::terminal);
    const auto outcome = shown.wait();
    ASSERT_TRUE(outcome);
    EXPECT_EQ(outcome->output, "\\x1B[2J\\x0Ax\r\n");
}

TEST_F(Faults, whereNobodyAnswers) {
    const auto dead = std::to_string(support::ScriptedServer().port());
    for (const std::string& url :
         {"http://127.0.0.1:" + dead + "/", std::string("http://no.invalid/")}) {
        for (const char* verb : {"ls", "info"}) EXPECT_EQ(quillon({verb, url}).exitCode, 7);
    }
}

TEST_F(Faults, aSignalEndsAFetchAndLeavesNothing) {
    server.on("GET", "/c/file", Answer(200, std::string(1'000'000, 'x')).stalledAfter(500'000));
    for (const int number : {SIGINT, SIGTERM}) {
        server.clearRequests();
        support::RunningProcess program(command({"get", server.url("c/file")}));
        ASSERT_TRUE(server.waitForRequests(4));  // HEAD, OPTIONS, HEAD, GET
        program.signal(number);
        const auto outcome = program.wait();
        ASSERT_TRUE(outcome);
        EXPECT_EQ(outcome->exitCode, 130) << outcome->errors;
        nothingIsLeft();
    }
}

TEST_F(Faults, credentialsOfAUrlDoNotStayAmongTheArguments) {
    server.on("GET", "/c/file", Answer(200, "content").stalledAfter(3));
    const std::string url = server.url("c/file");
    support::RunningProcess program(command({"get", "http://ann:secret@" + url.substr(7)}));
    ASSERT_TRUE(server.waitForRequests(4));
    const auto arguments = support::readFile("/proc/" + std::to_string(program.pid()) + "/cmdline");
    EXPECT_NE(arguments.find("c/file"), std::string::npos);
    EXPECT_EQ(arguments.find("secret"), std::string::npos);
}

TEST_F(Faults, aReaderThatGoesAwayIsNoCrash) {
    server.on("GET", "/c/file", Answer(200, std::string(1'000'000, 'x')));
    const support::Outcome outcome =
        support::run({{"bash", "-c", "\"$0\" get \"$1\" - | true; exit ${PIPESTATUS[0]}",
                       QUILLON_PROGRAM, server.url("c/file")},
                      command({}).environment});
    EXPECT_EQ(outcome.exitCode, 8) << outcome.errors;
    EXPECT_TRUE(cacheDirectories().empty());
}

TEST_F(Faults, aSlowFetchShowsItsProgressOnATerminalAlone) {
    server.on("GET", "/c/file",
              Answer(200, std::string(1000, 'x')).slowly(100, std::chrono::milliseconds(200)));
    support::RunningProcess shown(command({"get", server.url("c/file")}),
                                  support::Streams::terminal);
    EXPECT_TRUE(shown.expect("file [####"));
    EXPECT_EQ(shown.wait()->exitCode, 0);
    EXPECT_EQ(quillon({"get", server.url("c/file")}).errors, "");
}

TEST_F(Faults, aFullDiskIsNotTakenForSuccess) {
    const support::Outcome outcome = support::run(
        {{"bash", "-c", "\"$0\" ls \"$1\" > /dev/full", QUILLON_PROGRAM, server.url("c/")},
         command({}).environment});
    EXPECT_EQ(outcome.exitCode, 8);
    EXPECT_NE(outcome.errors.find("No space left"), std::string::npos) << outcome.errors;
}

}  // namespace
}  // namespace quillon::cli
