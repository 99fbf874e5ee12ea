#include "tests/support/scripted_server.hpp"

#include <gtest/gtest.h>

#include "tests/support/process.hpp"

namespace support {
namespace {

// curl's exit code, and what it got: it tells the faults apart.
std::string fetch(const std::string& url, std::vector<std::string> more = {}) {
    std::vector<std::string> arguments{"curl", "-s", url};
    arguments.insert(arguments.end(), more.begin(), more.end());
    Outcome outcome = run({arguments});
    return std::to_string(outcome.exitCode) + " " + outcome.output;
}

}  // namespace

TEST(ScriptedServer, failsInTheWayThatTheAnswerNames) {
    const Answer good(200, "0123456789");
    struct Row {
        Answer answer;
        std::string seen;
    };
    const Row rows[] = {
        {good, "0 0123456789"},
        {Answer(good).chunked(), "0 0123456789"},
        {Answer(good).closing(), "0 0123456789"},
        {Answer(good).slowly(3, Duration{1}), "0 0123456789"},
        {Answer(good).truncatedAfter(4), "18 0123"},
        {Answer(good).chunked().truncatedAfter(4), "18 0123"},
        {Answer(good).resetAfter(4), "56 0123"},
        {Answer(good).declaring(12), "18 0123456789"},
        {Answer(good).declaring(4), "0 0123"},
        {Answer(200, std::string(2000, 'x')).garbageChunks(), "56 " + std::string(1024, 'x')},
        {Answer::raw("SMTP ready\r\n"), "1 "},
        {Answer(good).dropped(), "52 "},
    };
    for (const Row& row : rows) {
        ScriptedServer server;
        server.on("GET", "/a*", row.answer);
        EXPECT_EQ(fetch(server.url("abc")), row.seen);
    }
}

TEST(ScriptedServer, holdsAStalledAnswerUntilItIsReleased) {
    ScriptedServer server;
    server.on("GET", "/", Answer(200, "0123456789").stalledAfter(4));
    RunningProcess curl({{"curl", "-sN", server.url()}});
    ASSERT_TRUE(curl.expect("0123"));
    EXPECT_TRUE(curl.running());
    server.release();
    EXPECT_EQ(curl.wait().value().exitCode, 18);
}

TEST(ScriptedServer, meddlesWithTheRequest) {
    const std::string body(300'000, 'b');
    struct Row {
        Answer answer;
        std::string seen;
        size_t received;
        bool complete;
    };
    const Row rows[] = {
        {Answer(201), "0 201", body.size(), true},
        {Answer(507).beforeBody(), "0 507", 0, false},
        {Answer(201).withoutContinue(), "0 201", body.size(), true},
    };
    for (const Row& row : rows) {
        ScriptedServer server;
        server.on("PUT", "/x", row.answer);
        RunningProcess curl({{"curl", "-s", "-w", "%{http_code}", "-T", "-", "-H",
                              "Expect: 100-continue", server.url("x")},
                             {},
                             body});
        Outcome outcome = curl.wait().value();
        EXPECT_EQ(std::to_string(outcome.exitCode) + " " + outcome.output, row.seen);
        Request request = server.requests().at(0);
        EXPECT_EQ(request.body.size(), row.received);
        EXPECT_EQ(request.complete, row.complete);
    }
}

TEST(ScriptedServer, usesOneTimeRulesFirstThenTheLatest) {
    ScriptedServer server;
    server.on("*", "*", Answer(404)).on("GET", "/a", Answer(200, "a"));
    server.once("GET", "/a", Answer(500, "first")).once("GET", "/a", Answer(503, "second"));
    for (const std::string seen : {"0 first", "0 second", "0 a"})
        EXPECT_EQ(fetch(server.url("a")), seen);
    server.on("POST", "/a", [](const Request& request) { return Answer(200, request.body + "!"); });
    EXPECT_EQ(fetch(server.url("a"), {"-d", "hello"}), "0 hello!");
    EXPECT_EQ(server.transcript(), "GET /a 500\nGET /a 503\nGET /a 200\nPOST /a 200\n");
}

}  // namespace support
