// Whole cycles of lock, fetch, store and unlock, in which each request in turn goes wrong in each
// way: nobody's work is lost, nothing stays behind, and what happened is told.
#include <fmt/format.h>

#include <optional>
#include <regex>

#include "cli/exit_code.hpp"
#include "tests/cli/program.hpp"
#include "tests/support/apache.hpp"
#include "tests/support/fault_proxy.hpp"
#include "tests/support/http_probe.hpp"

namespace quillon::cli {
namespace {

using support::ProxyFault;

struct Cycle {
    const char* name;
    bool edits;  // else it puts a file over the member
};

struct Way {
    const char* name;
    ProxyFault fault;
};

class FaultCampaign : public ProgramTest,
                      public testing::WithParamInterface<std::tuple<Cycle, Way>> {
protected:
    FaultCampaign() {
        support::writeFile(editor, "#!/bin/sh\nprintf 'mine\\n' >>\"$1\" && : >\"$HOME/edited\"\n");
        std::filesystem::permissions(editor, std::filesystem::perms::owner_all);
    }

    support::Outcome runCycle() {
        server.addMember("member", before);
        std::filesystem::remove(home / "edited");
        support::writeFile(work / "local", after);
        const std::string url = proxy.url("member");
        auto started = std::get<Cycle>(GetParam()).edits
                           ? command({"edit", "--timeout", "1", url})
                           : command({"put", "--timeout", "1", "local", url});
        started.environment["VISUAL"] = editor;
        auto outcome = support::run(started);
        (void)server.accessLog();  // waits for the server to be done with what it got
        return outcome;
    }

    std::string onServer() const { return support::readFile(server.documentRoot() / "member"); }

    std::string lockOnServer() const {
        const auto reply =
            support::ask(server.port(), "PROPFIND", "/member", "Depth: 0\r\n",
                         "<propfind xmlns='DAV:'><prop><lockdiscovery/></prop></propfind>");
        std::smatch token;
        if (!reply || reply->status != 207) return "no answer";
        const bool found =
            std::regex_search(reply->body, token, std::regex("opaquelocktoken:[^<]+"));
        return found ? token.str() : std::string();
    }

    // The content of the file that the message names.
    static std::string kept(const support::Outcome& outcome) {
        std::smatch told;
        const std::regex line("your version is in (.+)");
        if (!std::regex_search(outcome.errors, told, line)) return {};
        return support::readFile(told[1].str());
    }

    void nobodysWorkIsLost(const support::Outcome& outcome) const {
        const std::string now = onServer();
        EXPECT_TRUE(now == before || now == after) << now.size() << " bytes";
        const bool edited = std::filesystem::exists(home / "edited");
        EXPECT_TRUE(now == after || outcome.exitCode != EXIT_DONE);
        EXPECT_TRUE(now == after || !edited || kept(outcome) == after);
        EXPECT_EQ(support::readFile(work / "local"), after);
    }

    void whatHappenedIsTold(const support::Outcome& outcome) const {
        static const std::regex documented("[0-8]");
        EXPECT_TRUE(std::regex_match(std::to_string(outcome.exitCode), documented));
        EXPECT_EQ(outcome.exitCode == EXIT_DONE, outcome.errors.empty());
    }

    // A lock that stays is told of with the command that removes it, which works.
    void noLockStaysUnnoticed(const support::Outcome& outcome) const {
        const std::string token = lockOnServer();
        if (token.empty()) return;
        const std::string unlocking =
            fmt::format("quillon unlock {} --token {}", proxy.url("member"), token);
        EXPECT_NE(outcome.errors.find(unlocking), std::string::npos) << "to be told: " << unlocking;
        const auto unlocked = quillon({"unlock", proxy.url("member"), "--token", token});
        EXPECT_EQ(unlocked.exitCode, EXIT_DONE) << unlocked.errors;
        EXPECT_EQ(lockOnServer(), "");
    }

    const std::string before = std::string(3000, 'x') + "\n";
    const std::string after = before + "mine\n";
    const std::string editor = home / "editor";
    support::Apache server;
    support::FaultProxy proxy{server.port()};
};

TEST_P(FaultCampaign, losesNothing) {
    const ProxyFault fault = std::get<Way>(GetParam()).fault;
    proxy.failAt(1, ProxyFault::none);
    const auto smooth = runCycle();
    ASSERT_EQ(smooth.exitCode, EXIT_DONE) << smooth.errors;
    const auto requests = proxy.requests();
    ASSERT_GE(requests.size(), 4u);
    for (size_t nth = 1; nth <= requests.size(); ++nth) {
        proxy.failAt(static_cast<int>(nth), fault);
        const auto outcome = runCycle();
        SCOPED_TRACE(fmt::format("request {} of {}, {}: exit code {}\n{}{}", nth, requests.size(),
                                 requests[nth - 1], outcome.exitCode, outcome.output,
                                 outcome.errors));
        EXPECT_TRUE(proxy.failed());
        nobodysWorkIsLost(outcome);
        whatHappenedIsTold(outcome);
        noLockStaysUnnoticed(outcome);
        EXPECT_EQ(cacheDirectories(), Arguments());
    }
}

INSTANTIATE_TEST_SUITE_P(
    , FaultCampaign,
    testing::Combine(testing::Values(Cycle{"edit", true}, Cycle{"put", false}),
                     testing::Values(Way{"cutBeforeTheRequest", ProxyFault::beforeRequest},
                                     Way{"cutInTheRequest", ProxyFault::inRequest},
                                     Way{"cutBeforeTheAnswer", ProxyFault::beforeAnswer},
                                     Way{"cutInTheAnswer", ProxyFault::inAnswer},
                                     Way{"stalled", ProxyFault::stall})),
    [](const auto& row) {
        return fmt::format("{}_{}", std::get<0>(row.param).name, std::get<1>(row.param).name);
    });

}  // namespace
}  // namespace quillon::cli
