#include <gtest/gtest.h>

#include "tests/support/dav_tree.hpp"
#include "tests/support/delay_proxy.hpp"
#include "tests/support/fault_proxy.hpp"
#include "tests/support/http_probe.hpp"
#include "tests/support/process.hpp"
#include "tests/support/scripted_server.hpp"

namespace support {

TEST(FaultProxy, failsTheRequestThatItIsTold) {
    const std::string body(100'000, 'b');
    struct Row {
        ProxyFault fault;
        std::string seen;     // curl's exit code and output for a PUT that follows a GET
        bool began, arrived;  // of the PUT at the server
    };
    const Row rows[] = {
        {ProxyFault::none, "0 content;accepted", true, true},
        {ProxyFault::beforeRequest, "52 content;", false, false},
        {ProxyFault::inRequest, "52 content;", true, false},
        {ProxyFault::beforeAnswer, "52 content;", true, true},
        {ProxyFault::inAnswer, "18 content;acce", true, true},
    };
    for (const Row& row : rows) {
        ScriptedServer server;
        server.on("GET", "/a", Answer(200, "content;")).on("PUT", "/a", Answer(200, "accepted"));
        FaultProxy proxy(server.port());
        proxy.failAt(2, row.fault);
        Outcome get = run({{"curl", "-s", proxy.url("a")}});
        Outcome put = run({{"curl", "-s", "-H", "Expect: 100-continue", "-T", "-", "-H",
                            "Content-Length: 100000", "-H", "Transfer-Encoding:", proxy.url("a")},
                           {},
                           body});
        EXPECT_EQ(std::to_string(put.exitCode) + " " + get.output + put.output, row.seen);
        EXPECT_EQ(proxy.failed(), row.fault != ProxyFault::none);
        ASSERT_EQ(server.requests().size(), row.began ? 2u : 1u);
        if (!row.began) continue;
        size_t arrived = row.arrived ? body.size() : body.size() / 2;
        EXPECT_TRUE(eventually([&] { return server.requests()[1].body.size() == arrived; }));
        EXPECT_EQ(server.requests()[1].complete, row.arrived);
    }
}

TEST(FaultProxy, stallsTheAnswerUntilItIsReleased) {
    ScriptedServer server;
    serveTree(server, "/c/", {{"a", "content"}});
    FaultProxy proxy(server.port());
    proxy.failAt(1, ProxyFault::stall);
    RunningProcess curl({{"curl", "-s", "-X", "PROPFIND", proxy.url("c/")}});
    ASSERT_TRUE(server.waitForRequests(1));
    EXPECT_EQ(curl.wait(Duration{20}), std::nullopt);
    proxy.release();
    EXPECT_EQ(curl.wait().value().exitCode, 52);
    EXPECT_EQ(run({{"curl", "-s", proxy.url("c/a")}}).output, "content");
    EXPECT_EQ(proxy.requests(), (std::vector<std::string>{"PROPFIND /c/", "GET /c/a"}));
}

TEST(DelayProxy, addsARoundTripForTheConnectionAndForEachRequest) {
    ScriptedServer server;
    server.on("GET", "/", Answer(200, std::string(20'000'000, 'x')));
    DelayProxy proxy(server.port(), Duration{50});
    std::string url = "http://127.0.0.1:" + std::to_string(proxy.port()) + "/";
    auto before = Clock::now();
    EXPECT_EQ(run({{"curl", "-s", url, url, url}}).output.size(), 60'000'000u);
    EXPECT_GE(Clock::now() - before, Duration{200});
    EXPECT_LT(Clock::now() - before, Duration{10'000});  // a piece at a time would take longer
}

}  // namespace support
