// Authentication, proxies and trust.
#include <gtest/gtest.h>

#include "platform/base/logger.hpp"
#include "platform/http/way_in.hpp"
#include "tests/support/apache.hpp"
#include "tests/support/files.hpp"
#include "tests/weblnk/driven.hpp"

using support::Answer;
using support::Apache;
using support::Authentication;
using support::ScriptedServer;

namespace weblnk_test {
namespace {

const std::string large(3 << 20, 'x');

TEST(WeblnkAuth, aSessionIsAskedOnce) {
    for (const auto kind : {Authentication::basic, Authentication::digest}) {
        const Apache server({.authentication = kind});
        const auto expectLog = [&](const std::string& lines) {
            EXPECT_EQ(server.transcript(), lines);
            server.clearTranscript();
        };
        const auto& [user, password] = server.account();
        Driven demo(user, password), first(user, password), wrong(user, "wrong");
        demo.at(server.url("a"));
        for (const std::string& content : {std::string(), std::string(4097, 'y'), large}) {
            demo.put(content);
            EXPECT_EQ(demo.get(), "200 [" + content + "]");
        }
        EXPECT_EQ(server.connections(), 1);
        expectLog(
            "PUT /a 401\nPUT /a 201\nGET /a 200\nPUT /a 204\nGET /a 200\nPUT /a 204\n"
            "GET /a 200\n");

        EXPECT_EQ(demo.passwordsInClear,
                  kind == Authentication::basic ? demo.url.substr(0, demo.url.size() - 2) : "");

        // A body that comes before the scheme is known is sent whole.
        first.at(server.url("a")).put(large + "!");
        expectLog("PUT /a 401\nPUT /a 204\n");

        for (int i = 0; i < 2; ++i) EXPECT_EQ(wrong.at(server.url("a")).put("new"), "401");
        expectLog("PUT /a 401\nPUT /a 401\nPUT /a 401\nPUT /a 401\n");
        EXPECT_EQ(support::readFile(server.documentRoot() / "a"), large + "!");
    }
}

// The server accepts one nonce at a time, and another one after each PUT that it took.
TEST(WeblnkAuth, anExpiredNonceCostsNoContent) {
    for (const std::string staleness : {", stale=true", ""}) {
        ScriptedServer server;
        server.on("*", "*", [&, nonce = std::string("n")](const support::Request& request) mutable {
            const auto given = request.field("Authorization");
            EXPECT_FALSE(given.starts_with("Basic"));
            if (given.find("nonce=\"" + nonce + "\"") == given.npos) {
                const std::string digest =
                    "Digest realm=\"r\", qop=\"auth\", nonce=\"" + nonce + '"';
                return Answer::challenge("Basic realm=\"r\"")
                    .with("WWW-Authenticate", digest + (given.empty() ? "" : staleness));
            }
            if (request.method == "PUT") nonce += 'x';
            return Answer(200);
        });
        Driven driven("u", "p");
        EXPECT_EQ(driven.at(server.url("a")).head(), "200");
        driven.list();  // over the handle that the contents go through
        const std::vector<std::string> contents{large, "small", "", large + "!"};
        for (const auto& content : contents) EXPECT_EQ(driven.put(content), "200");
        std::vector<std::string> stored;
        for (const auto& request : server.requests())
            if (request.method == "PUT" && request.answered == 200) stored.push_back(request.body);
        EXPECT_EQ(stored, contents);
    }
}

const Answer askForBasic = Answer::challenge("Basic realm=\"r\"");

TEST(WeblnkAuth, credentialsStayWithTheirServer) {
    ScriptedServer server, other;
    server.inTurn("HEAD", "*", {askForBasic, Answer(200), askForBasic, Answer(200)});
    other.on("HEAD", "/a", Answer::challenge("NTLM"));
    Driven driven("u", "p");
    EXPECT_EQ(driven.at(server.url("a")).head(), "200");
    driven.password = "q";  // not sent before it is asked for, either
    EXPECT_EQ(driven.at(server.url("a")).head(), "200");
    EXPECT_EQ(seen(server),
              "HEAD /a 401, HEAD /a Basic dTpw 200, HEAD /a 401, HEAD /a Basic dTpx 200");
    EXPECT_EQ(driven.at(other.url("a")).head(), "401");  // through the same context
    EXPECT_EQ(seen(other), "HEAD /a 401");

    // Credentials in the URL itself, or in one that a server names, are not sent.
    std::string url = server.url("a");
    url.insert(url.find("127"), "u:secret@");
    server.inTurn("HEAD", "*", {Answer(302).with("Location", url + "/b"), askForBasic});
    driven.user.clear();
    server.clearRequests();
    EXPECT_EQ(driven.at(url).head(), "401");
    EXPECT_EQ(seen(server), "HEAD /a 302, HEAD /a/b 401");
}

Answer askForDigest(const std::string& more) {
    return Answer::challenge("Digest realm=\"r\", qop=\"auth\", nonce=" + more);
}

TEST(WeblnkAuth, digestIsNeverTalkedDownToBasic) {
    ScriptedServer server;
    server.inTurn("HEAD", "/a", {askForDigest("\"n\""), Answer(200), askForBasic});
    Driven driven("u", "p"), another("u", "p");
    EXPECT_EQ(driven.at(server.url("a")).head(), "200");
    for (Driven* each : {&driven, &another}) {
        EXPECT_EQ(each->at(server.url("a")).head(), "401");
        EXPECT_NE(each->sentences().find("it was not sent"), std::string::npos);
    }
    EXPECT_EQ(seen(server).find("Basic"), std::string::npos) << seen(server);

    Answer withoutNonce = askForBasic;
    withoutNonce.with("WWW-Authenticate", "Digest realm=\"r\"");
    for (const Answer& next : {askForBasic, withoutNonce}) {
        ScriptedServer atOnce;  // inside one exchange
        atOnce.inTurn("HEAD", "/a", {askForDigest("\"n\""), next});
        EXPECT_EQ(Driven("u", "p").at(atOnce.url("a")).head(), "401");
        EXPECT_EQ(atOnce.requests().size(), 2u);
    }
}

TEST(WeblnkAuth, basicIsTriedBesideADigestThatNobodyKnows) {
    for (const char* digest : {"Digest realm=\"r\", nonce=\"n\", algorithm=X", "Digest qop=auth"}) {
        ScriptedServer server;
        server.inTurn("HEAD", "/a",
                      {Answer(askForBasic).with("WWW-Authenticate", digest), Answer(200)});
        EXPECT_EQ(Driven("u", "p").at(server.url("a")).head(), "200");
        EXPECT_EQ(seen(server), "HEAD /a 401, HEAD /a Basic dTpw 200");
    }
}

TEST(WeblnkAuth, challengesEnd) {
    ScriptedServer server;
    server.on("HEAD", "/a", [n = 0](const support::Request&) mutable {
        return askForDigest('"' + std::to_string(n++) + "\", stale=true");
    });
    EXPECT_EQ(Driven("u", "p").at(server.url("a")).head(), "401");
    EXPECT_EQ(server.requests().size(), 3u);
}

TEST(WeblnkAuth, theWireTraceMasksCredentials) {
    ScriptedServer server;
    server.inTurn(
        "HEAD", "/a",
        {askForBasic,
         Answer(200).with("Set-Cookie", "id=secret").with("Location", "http://u:sec/secret@h/b")});
    std::string trace;
    const auto log = [&](uint32_t, auto channel, auto text) {
        trace.append(channel).append(" ").append(text).append("\n");
    };
    vxhost::configureLogging({vxhost::LOG_WIRE, log});
    EXPECT_EQ(Driven("u", "secret").at(server.url("a")).head(), "200");
    vxhost::configureLogging({});
    for (const char* line :
         {"> HEAD /a HTTP/1.1\n", "< HTTP/1.1 401 ", "> Authorization: ***\n",
          "< Set-Cookie: ***\n", "< Location: http://***@h/b\n", "HEAD http://127.0.0.1"}) {
        EXPECT_NE(trace.find(std::string("App.WebDAV ") + line), trace.npos) << line << trace;
    }
    EXPECT_EQ(trace.find("secret"), trace.npos) << trace;
    EXPECT_EQ(trace.find("dTpzZWNyZXQ"), trace.npos) << trace;  // u:secret
}

TEST(WeblnkAuth, aWayInLeadsToItsOriginAlone) {
    ScriptedServer server, other;
    const auto wayIn = std::make_shared<vxhost::WayIn>();
    wayIn->origin = server.url().substr(0, server.url().size() - 1);
    wayIn->headers.emplace_back(std::string_view("X-Gate: secret"));
    int refused = 0;
    wayIn->token = [&](const vxhost::SecretText* token) {
        refused += token ? 1 : 0;
        return std::make_shared<vxhost::SecretText>(std::string_view(token ? "new" : "old"));
    };
    server.on("*", "*", [](const support::Request& request) {
        return Answer(request.field("Authorization") == "Bearer new" ? 200 : 401);
    });
    other.on("*", "*", Answer(404));
    Driven driven;
    driven.settings.wayIn = wayIn;
    driven.at(server.url("a"));
    for (const std::string& content : {std::string("small"), large})
        EXPECT_EQ(driven.put(content), "200");
    EXPECT_EQ(server.requests().back().body, large);
    EXPECT_EQ(driven.at(other.url("a")).head(), "404");
    EXPECT_EQ(refused, 1);
    for (const auto& request : server.requests()) EXPECT_EQ(request.field("X-Gate"), "secret");
    const support::Request seen = other.requests().back();
    EXPECT_EQ(seen.fields.count("X-Gate") + seen.fields.count("Authorization"), 0u);
}

}  // namespace
}  // namespace weblnk_test
