// PUT, LOCK, UNLOCK, DELETE, MOVE and MKCOL.
#include <gtest/gtest.h>

#include <numeric>
#include <thread>

#include "platform/status.hpp"
#include "platform/weblnk/lock.hpp"
#include "tests/support/apache.hpp"
#include "tests/support/files.hpp"
#include "tests/support/scripted_server.hpp"
#include "tests/weblnk/driven.hpp"

using support::Answer;
using support::Apache;
using support::ScriptedServer;

namespace weblnk_test {
namespace {

constexpr size_t MiB = 1 << 20;
constexpr uint32_t known = vx::PUT_LENGTH_KNOWN;

std::string lockAnswer(const std::string& timeout, const std::string& token = "urn:t:1") {
    return "<prop xmlns='DAV:'><lockdiscovery><activelock><owner>ada <x>&amp; co</x></owner>"
           "<timeout>" +
           timeout + "</timeout><locktoken><href>" + token +
           "</href></locktoken></activelock></lockdiscovery></prop>";
}

Answer granted(const std::string& timeout) {
    return Answer::xml(200, lockAnswer(timeout)).with("Lock-Token", "<urn:t:1>");
}

TEST(WeblnkPut, smallBodiesComeWithALengthAndLargeOnesAskFirst) {
    const struct {
        size_t size;
        vx::PutOptions options;
        const char *length, *encoding, *expect;
    } rows[] = {
        {0, {}, "0", "", ""},
        {4097, {}, "4097", "", ""},
        {MiB - 1, {}, "1048575", "", ""},
        {3 * MiB, {}, "", "chunked", "100-continue"},
        {3 * MiB, {known, 0, 3 * MiB}, "3145728", "", "100-continue"},
        {0, {known, 0, 0}, "0", "", ""},
    };
    for (const auto& row : rows) {
        ScriptedServer server;
        server.on("PUT", "/a", Answer(201));
        std::string content(row.size, 'c');
        std::iota(content.begin(), content.end(), '\0');
        EXPECT_EQ(Driven().client(server.url("a")).put({content, 5000}, row.options), "201");
        const auto request = server.requests().at(0);
        EXPECT_EQ(request.field("Content-Length"), row.length);
        EXPECT_EQ(request.field("Transfer-Encoding"), row.encoding);
        EXPECT_EQ(request.field("Expect"), row.expect);
        EXPECT_EQ(request.field("If-None-Match"), "");
        EXPECT_TRUE(request.body == content);
    }
}

TEST(WeblnkPut, aPartNeverPassesForTheWhole) {
    const struct {
        Content content;
        vx::PutOptions options;
        const char* outcome;
    } rows[] = {
        {{std::string(3 * MiB, 'c'), 4096, vxhost::FSBOX_IO}, {}, "FSBOX_IO -1"},
        {{"abc", 4096, vxhost::FSBOX_IO}, {}, "FSBOX_IO -1"},
        {{"abc"}, {known, 0, 4}, "WEBLNK_CUT_OFF -1"},
        {{"abc"}, {known, 0, 2}, "WEBLNK_CUT_OFF -1"},
        {{"abc"}, {known, 0, 0}, "WEBLNK_CUT_OFF -1"},
        {{std::string(3 * MiB, 'c')}, {known, 0, 3 * MiB - 1}, "WEBLNK_CUT_OFF -1"},
        {{std::string(3 * MiB, 'c')}, {known, 0, 3 * MiB + 1}, "WEBLNK_CUT_OFF -1"},
    };
    for (const auto& row : rows) {
        ScriptedServer server;
        server.on("PUT", "/a", Answer(201));
        Driven driven;
        EXPECT_EQ(driven.client(server.url("a")).put(row.content, row.options), row.outcome);
        EXPECT_NE(driven.sentences(), "");
        for (const auto& request : server.requests()) EXPECT_FALSE(request.complete);
    }
}

TEST(WeblnkPut, conditionsAreSent) {
    ScriptedServer server;
    server.on("PUT", "/a", Answer(204)).on("LOCK", "/a", granted("Second-600"));
    const auto tagged = [](const char* tag) { return Answer(200, "x").with("ETag", tag); };
    server.on("GET", "/a", Answer(404)).once("GET", "/a", tagged("\"e1\""));
    server.once("GET", "/a", tagged("W/\"e2\"")).once("GET", "/a", tagged("\"e3\""));
    Driven driven;
    auto client = driven.client(server.url("a"));
    const auto fields = [&](uint32_t flags, vx::LockObject* lock = nullptr) {
        client.put({"new"}, {flags, 0, 0}, lock);
        const auto request = server.requests().back();
        return std::string(request.field("If-None-Match")) + '|' +
               std::string(request.field("If-Match")) + '|' + std::string(request.field("If"));
    };
    EXPECT_EQ(fields(vx::PUT_ONLY_NEW), "*||");
    EXPECT_EQ(fields(vx::PUT_IF_UNCHANGED), "||");
    client.get();
    EXPECT_EQ(fields(vx::PUT_IF_UNCHANGED), "|\"e1\"|");
    client.get();
    EXPECT_EQ(fields(vx::PUT_IF_UNCHANGED), "||");
    client.get();
    client.get();  // fails: the tag is not that of what one has
    EXPECT_EQ(fields(vx::PUT_IF_UNCHANGED), "||");
    EXPECT_EQ(client.takeLock(), "200 lock");
    EXPECT_EQ(fields(0, client.lock.get()), "||(<urn:t:1>)");
}

TEST(WeblnkPut, anEarlyAnswerEndsTheUpload) {
    for (const int status : {201, 401, 412, 423, 507}) {
        for (const uint32_t flags : {0u, known}) {
            ScriptedServer server;
            server.on("PUT", "/a", Answer(status).beforeBody());
            server.on("PROPFIND", "/a", Answer(404));
            size_t pulled = 0;
            const Content content{std::string(64 * MiB, 'c'), 65536, vx::VX_END_OF_DATA,
                                  [&](size_t position) { pulled = position; }};
            EXPECT_EQ(Driven().client(server.url("a")).put(content, {flags, 0, 64 * MiB}),
                      status == 201 ? "WEBLNK_CUT_OFF -1" : std::to_string(status));
            EXPECT_LT(pulled, 2 * MiB);
        }
    }
}

TEST(WeblnkPut, isSentAgainWholeOrNotAtAll) {
    const auto moved = [](int status) { return Answer(status).with("Location", "/b"); };
    const struct {
        Answer first;
        const char *outcome, *transcript;
    } rows[] = {
        {moved(307), "201", "PUT /a 307\nPUT /b 201\n"},
        {moved(308), "201", "PUT /a 308\nPUT /b 201\n"},
        {moved(301), "301", "PUT /a 301\n"},
        {Answer(503).with("Retry-After", "0"), "503", "PUT /a 503\n"},
        // For want of a 100; then it ends the connection, or still waits for the body there.
        {Answer(417).beforeBody(), "201", "PUT /a 417\nPUT /a 201\n"},
        {Answer(417).beforeBody().stalledAfter(0), "201", "PUT /a 417\nPUT /a 201\n"},
    };
    for (const auto& row : rows) {
        for (const auto& [size, flags] : {std::pair{3ul, 0u}, {2 * MiB, 0u}, {2 * MiB, known}}) {
            if (size < MiB && row.transcript[7] == '4') continue;  // it expects no 100
            ScriptedServer server;
            server.on("PUT", "/*", Answer(201)).once("PUT", "/a", row.first);
            const std::string content(size, 'c');
            Driven driven;
            driven.settings.stallTimeout = std::chrono::seconds(5);
            EXPECT_EQ(driven.client(server.url("a")).put({content}, {flags, 0, size}), row.outcome);
            EXPECT_EQ(server.transcript(), row.transcript);
            EXPECT_TRUE(server.requests().back().body == content);
        }
    }
}

// Whether the server did it cannot be known, so it is not sent again, not even by curl on a
// connection that was kept.
TEST(WeblnkWriting, whatMayHaveBeenDoneIsNotRepeated) {
    using Operation = std::string (*)(DrivenClient&);
    const std::pair<const char*, Operation> rows[] = {
        {"PUT", [](DrivenClient& client) { return client.put({"abc"}); }},
        {"PUT", [](DrivenClient& client) { return client.put({""}); }},
        {"DELETE", [](DrivenClient& client) { return client.remove(); }},
        {"MOVE", [](DrivenClient& client) { return client.move("http://127.0.0.1/b"); }},
        {"MKCOL", [](DrivenClient& client) { return client.makeCollection(); }},
    };
    for (const auto& [method, run] : rows) {
        ScriptedServer server;
        server.on("HEAD", "/a/", Answer(200)).on(method, "/a/", Answer(200).dropped());
        Driven driven;
        auto client = driven.client(server.url("a/"));
        EXPECT_EQ(client.head(), "200");
        EXPECT_EQ(run(client), "WEBLNK_CUT_OFF -1");
        EXPECT_EQ(run(client), "WEBLNK_CUT_OFF -1");  // on a new connection
        const std::string dropped = std::string(method) + " /a/ 0\n";
        EXPECT_EQ(server.transcript(), "HEAD /a/ 200\n" + dropped + dropped);
    }
}

TEST(WeblnkWriting, aMultistatusTellsWhatFailed) {
    const struct {
        const char* statuses;
        const char* outcome;
    } rows[] = {
        {"<response><status>HTTP/1.1 412 Taken</status></response>", "412"},
        {"<response><status>HTTP/1.1 424 Failed Dependency</status></response>"
         "<response><status>HTTP/1.1 201 Created</status></response>"
         "<response><status>HTTP/1.1 403 No</status></response>",
         "403"},
        {"<response><status>HTTP/1.1 424 Failed Dependency</status></response>", "424"},
        {"<response><status>HTTP/1.1 201 Created</status></response>", "207"},
        {"<response><href>/a</href></response>", "207"},
        {"<response>", "WEBLNK_BAD_ANSWER -1"},
    };
    for (const auto& row : rows) {
        ScriptedServer server;
        server.on("*", "/a*",
                  Answer::xml(207, std::string("<multistatus xmlns='DAV:'>") + row.statuses +
                                       "</multistatus>"));
        Driven driven;
        EXPECT_EQ(driven.client(server.url("a")).move("http://h/b"), row.outcome);
        EXPECT_EQ(driven.client(server.url("a")).remove(), row.outcome);
        EXPECT_EQ(driven.client(server.url("a/")).remove(), "207");
    }
}

TEST(WeblnkWriting, collectionsAreMadeMovedAndDeletedAsSuch) {
    ScriptedServer server;
    server.on("*", "/d/*", Answer(201)).on("DELETE", "/s", Answer(301).with("Location", "/s/"));
    server.on("DELETE", "/s/", Answer(204)).on("LOCK", "/d/m", granted("Infinite"));
    Driven driven;
    const auto at = [&](const char* path) { return driven.client(server.url(path)); };
    EXPECT_EQ(at("d/c").makeCollection(), "201");
    EXPECT_EQ(at("d/c/").remove(), "201");
    EXPECT_EQ(at("d/c/").move("http://u:p@h/n#\u00E4 1/"), "201");
    EXPECT_EQ(at("s").remove(), "204");
    auto member = at("d/m");
    EXPECT_EQ(member.remove(), "201");
    EXPECT_EQ(member.takeLock(90), "200 lock");
    EXPECT_EQ(member.remove(), "201");
    EXPECT_EQ(member.move("http://h/d/%41?"), "201");
    const std::string held = " <" + server.url("d/m") + "> (<urn:t:1>)\n";
    std::string seen;
    for (const auto& request : server.requests()) {
        seen += request.method + ' ' + request.target;
        for (const char* name : {"Depth", "Destination", "Overwrite", "Timeout", "If"}) {
            const auto value = request.field(name);
            if (!value.empty()) seen.append(" ").append(value);
        }
        seen += '\n';
    }
    EXPECT_EQ(seen,
              "MKCOL /d/c/\n"
              "DELETE /d/c/ infinity\n"
              "MOVE /d/c/ infinity http://h/n%23%C3%A4%201/ F\n"
              "DELETE /s\n"
              "DELETE /s/\n"
              "DELETE /d/m\n"
              "LOCK /d/m 0 Second-90\n"
              "DELETE /d/m" +
                  held + "MOVE /d/m http://h/d/%41%3F F" + held);
}

TEST(WeblnkLock, theTokenComesFromHeaderOrBody) {
    const struct {
        Answer answer;
        const char *outcome, *unlocked;
    } rows[] = {
        {granted("Second-600"), "200 lock", "<urn:t:1>"},
        {Answer::xml(201, lockAnswer("Infinite", " urn:t:2 ")), "201 lock", "<urn:t:2>"},
        {Answer(200).with("Lock-Token", "<urn:t:3>"), "200 lock", "<urn:t:3>"},
        {Answer::xml(200, lockAnswer("Infinite", "")), "200", ""},
        {Answer::xml(200, "<prop"), "200", ""},
        {Answer(500), "500", ""},
        {Answer(200).dropped(), "-1", ""},
    };
    for (const auto& row : rows) {
        ScriptedServer server;
        server.on("LOCK", "/a", row.answer).on("UNLOCK", "/a", Answer(204));
        server.on("PROPFIND", "/a", Answer(404));
        Driven driven;
        auto client = driven.client(server.url("a"));
        EXPECT_EQ(client.takeLock(), row.outcome);
        if (client.lock) client.unlock();
        EXPECT_EQ(server.requests().back().field("Lock-Token"), row.unlocked);
        const auto first = server.requests().front();
        EXPECT_EQ(first.field("Timeout"), "Second-7200");
        EXPECT_NE(first.body.find("<D:exclusive/>"), std::string::npos);
        EXPECT_NE(first.body.find("<D:owner>ZEB &lt;1&gt; &amp; co</D:owner>"), std::string::npos);
    }
}

TEST(WeblnkLock, aLockNearItsEndIsRenewedBeforeTheNextRequest) {
    ScriptedServer server;
    server.on("LOCK", "/a", granted("Second-0")).on("HEAD", "/a", Answer(200));
    Driven driven;
    auto client = driven.client(server.url("a"));
    EXPECT_EQ(client.takeLock(), "200 lock");
    for (const auto& refusal : {Answer(412), Answer(200).dropped()}) {
        server.once("LOCK", "/a", refusal);
        EXPECT_EQ(client.head(), "200");  // it stops nothing
        EXPECT_EQ(driven.sentences(), "");
    }
    EXPECT_EQ(client.head(), "200");  // renewed for 0 seconds
    server.on("LOCK", "/a", Answer::xml(200, lockAnswer("Second-600")));
    EXPECT_EQ(client.head(), "200");
    EXPECT_EQ(client.head(), "200");  // long enough now
    const auto renewal = server.requests().at(7);
    EXPECT_EQ(renewal.field("If"), "(<urn:t:1>)");
    EXPECT_EQ(renewal.body, "");
    client.lock.reset();
    EXPECT_EQ(client.head(), "200");
    EXPECT_EQ(server.transcript(),
              "LOCK /a 200\nLOCK /a 412\nHEAD /a 200\nLOCK /a 0\nHEAD /a 200\nLOCK /a 200\n"
              "HEAD /a 200\nLOCK /a 200\nHEAD /a 200\nHEAD /a 200\nHEAD /a 200\n");
}

TEST(WeblnkLock, whoHoldsItIsTold) {
    ScriptedServer server;
    const std::string held = lockAnswer("Infinite");
    server.on("*", "/a", Answer(423, "<html>")).on("PUT", "/a", Answer::xml(423, held));
    server.on("PROPFIND", "/*",
              Answer::xml(207, "<multistatus xmlns='DAV:'><response><propstat>" + held +
                                   "</propstat></response></multistatus>"));
    Driven driven;
    auto client = driven.client(server.url("a"));
    for (const auto& outcome :
         {client.takeLock(), client.put({"x"}), client.remove(), client.move("http://h/b")}) {
        EXPECT_EQ(outcome, "423");
    }
    const std::string sentence =
        server.url("a") + ": Locked by ada & co, until it is given back.\n";
    EXPECT_EQ(driven.sentences(), sentence + sentence + sentence + sentence);
    EXPECT_EQ(server.transcript(),
              "LOCK /a 423\nPROPFIND /a 207\nPUT /a 423\nDELETE /a 423\nPROPFIND /a 207\n"
              "MOVE /a 423\nPROPFIND /a 207\n");
}

TEST(WeblnkLock, aLockWhoseAnswerWasLostIsNamedWithItsToken) {
    const struct {
        const char* owner;
        bool told;
    } rows[] = {{"<owner> ZEB &lt;1&gt;\n&amp; co</owner>", true},
                {"", true},  // the server keeps none
                {"<owner>ada</owner>", false}};
    for (const auto& row : rows) {
        ScriptedServer server;
        server.on("LOCK", "/a", Answer(200).dropped());
        server.on("PROPFIND", "/a",
                  Answer::xml(207, "<multistatus xmlns='DAV:'><lockdiscovery><activelock>" +
                                       std::string(row.owner) +
                                       "<locktoken><href>urn:t:9</href></locktoken></activelock>"
                                       "</lockdiscovery></multistatus>"));
        Driven driven;
        EXPECT_EQ(driven.client(server.url("a")).takeLock(), "-1");
        const std::string command = "quillon unlock " + server.url("a") + " --token urn:t:9";
        EXPECT_EQ(driven.sentences().find(command) != std::string::npos, row.told);
    }
}

TEST(WeblnkLock, aLockThatIsLeftIsNamedWithItsToken) {
    const struct {
        Answer answer;
        const char *listed, *outcome;
        bool left;
    } rows[] = {
        {Answer(204), "urn:t:9", "204", false},
        {Answer(409), "urn:t:9", "409", false},
        {Answer(403), "urn:t:9", "403", true},
        {Answer(403), "urn:another", "403", false},
        {Answer(204).dropped(), "urn:t:9", "WEBLNK_CUT_OFF -1", true},
    };
    for (const auto& row : rows) {
        ScriptedServer server;
        server.on("UNLOCK", "/a", row.answer);
        server.on("PROPFIND", "/a", Answer::xml(207, lockAnswer("Infinite", row.listed)));
        Driven driven;
        auto client = driven.client(server.url("a"));
        EXPECT_EQ(client.takeLock(0, "urn:t:9"), "200 lock");
        EXPECT_EQ(client.unlock(), row.outcome);
        const std::string command = "quillon unlock " + server.url("a") + " --token urn:t:9";
        EXPECT_EQ(driven.sentences().find(command) != std::string::npos, row.left);
        server.clearRequests();
        server.on("UNLOCK", "/a", Answer(204));
        driven.interrupted = true;  // what is held is given back all the same
        EXPECT_EQ(client.unlock(), "204");
        EXPECT_EQ(server.transcript(), "UNLOCK /a 204\n");
    }
}

TEST(WeblnkOnApache, aWholeCycleTakesOneConnection) {
    Apache server;
    Driven driven;
    auto client = driven.client(server.url("a%20b"));
    const std::string large(3 * MiB, 'x');
    EXPECT_EQ(client.options(), "200 PUT MKCOL LOCK OPTIONS");
    EXPECT_EQ(client.put({""}, {vx::PUT_ONLY_NEW, 0, 0}), "201");
    EXPECT_EQ(client.put({"x"}, {vx::PUT_ONLY_NEW, 0, 0}), "412");
    EXPECT_EQ(client.takeLock(), "200 lock");
    EXPECT_EQ(client.put({large}, {}, client.lock.get()), "204");
    EXPECT_EQ(client.unlock(), "204");
    client.lock.reset();
    EXPECT_EQ(client.get(), "200 [" + large + "]");
    server.addMember("taken", "old");
    EXPECT_EQ(client.move(server.url("taken")), "412");
    EXPECT_EQ(driven.client(server.url("sub")).makeCollection(), "201");
    EXPECT_EQ(client.move(server.url("sub/\xC3\xA4")), "201");
    EXPECT_TRUE(support::readFile(server.documentRoot() / "sub/\xC3\xA4") == large);
    EXPECT_EQ(driven.client(server.url()).propFind(1).substr(0, 4 + server.url().size()),
              "207 " + server.url());
    EXPECT_EQ(driven.client(server.url("sub")).remove(), "204");
    EXPECT_EQ(driven.client(server.url("sub/")).head(), "404");
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(driven.client(server.url("taken")).get(), "200 [old]");
    }
    EXPECT_EQ(server.connections(), 1);
    EXPECT_EQ(driven.sentences(), "");
}

TEST(WeblnkOnApache, aLockIsRenewedAndAdopted) {
    Apache server;
    server.addMember("a", "old");
    Driven driven;
    auto client = driven.client(server.url("a"));
    EXPECT_EQ(client.takeLock(77), "200 lock");
    auto& held = static_cast<vxhost::HeldLock&>(*client.lock);
    EXPECT_NO_THROW(held.refresh());
    const std::string token = held.token;
    client.lock.reset();
    EXPECT_EQ(client.put({"x"}), "423");
    EXPECT_NE(driven.sentences().find("Locked by ZEB <1> & co, until 2"), std::string::npos);

    auto later = driven.client(server.url("a"));
    EXPECT_EQ(later.takeLock(0, token), "200 lock");
    EXPECT_EQ(later.unlock(), "204");
    EXPECT_EQ(later.unlock(), "400");  // Apache's word for a lock that is gone
    EXPECT_EQ(driven.sentences(), "");
    later.lock.reset();
    EXPECT_EQ(client.put({"x"}), "204");
}

TEST(WeblnkOnApache, contextsAreUsedInThreadsOfTheirOwn) {
    Apache server;
    std::vector<std::thread> threads;
    for (const std::string name : {"a", "b", "c", "d"}) {
        threads.emplace_back([&server, name] {
            Driven driven;
            auto client = driven.client(server.url(name));
            for (int i = 0; i < 20; ++i) {
                EXPECT_EQ(client.put({name}), i == 0 ? "201" : "204");
                EXPECT_EQ(client.get(), "200 [" + name + ']');
            }
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(server.connections(), 4);
}

TEST(WeblnkOnApache, whatChangedSinceTheGetIsNotOverwritten) {
    Apache server;
    server.addMember("a", "old");
    // Apache's entity tags are weak in the first second of a file.
    std::filesystem::last_write_time(
        server.documentRoot() / "a",
        std::filesystem::file_time_type::clock::now() - std::chrono::hours(1));
    Driven driven;
    auto mine = driven.client(server.url("a")), theirs = driven.client(server.url("a"));
    const vx::PutOptions ifUnchanged{vx::PUT_IF_UNCHANGED, 0, 0};
    EXPECT_EQ(mine.get(), "200 [old]");
    EXPECT_EQ(theirs.get(), "200 [old]");
    EXPECT_EQ(theirs.put({"their work"}, ifUnchanged), "204");
    EXPECT_EQ(theirs.put({"their later work"}, ifUnchanged), "204");
    EXPECT_EQ(mine.put({"my work"}, ifUnchanged), "412");
    EXPECT_EQ(support::readFile(server.documentRoot() / "a"), "their later work");
}

}  // namespace
}  // namespace weblnk_test
