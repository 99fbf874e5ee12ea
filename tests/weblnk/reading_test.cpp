// HEAD, OPTIONS, PROPFIND and GET against a server that misbehaves.
#include <gtest/gtest.h>

#include <thread>

#include "tests/support/scripted_server.hpp"
#include "tests/weblnk/driven.hpp"

using support::Answer;
using support::ScriptedServer;

namespace weblnk_test {
namespace {

const Answer good(200, "0123456789");

Answer moved(int status, const std::string& location) {
    return Answer(status).with("Location", location);
}

Answer multistatus(const std::string& responses) {
    return Answer::xml(207, "<multistatus xmlns='DAV:'>" + responses + "</multistatus>");
}

TEST(WeblnkReading, aGetIsWholeOrFails) {
    const struct {
        Answer answer;
        const char *outcome, *transcript;
    } rows[] = {
        {good, "200 [0123456789]", "GET /a 200\n"},
        {Answer(good).chunked(), "200 [0123456789]", "GET /a 200\n"},
        {Answer(200), "200 []", "GET /a 200\n"},
        {Answer(good).truncatedAfter(4), "WEBLNK_CUT_OFF -1 [0123]", "GET /a 200\n"},
        {Answer(good).chunked().truncatedAfter(4), "WEBLNK_CUT_OFF -1 [0123]", "GET /a 200\n"},
        {Answer(good).resetAfter(4), "WEBLNK_CUT_OFF -1 [0123]", "GET /a 200\n"},
        {Answer(good).declaring(12), "WEBLNK_CUT_OFF -1 [0123456789]", "GET /a 200\n"},
        {Answer(good).truncatedAfter(0), "WEBLNK_CUT_OFF -1 []",
         "GET /a 200\nGET /a 200\nGET /a 200\n"},
        {Answer(good).dropped(), "WEBLNK_CUT_OFF -1 []", "GET /a 0\nGET /a 0\nGET /a 0\n"},
        {Answer::raw("SMTP ready\r\n"), "WEBLNK_BAD_ANSWER -1 []", "GET /a 200\n"},
        {Answer(206, "part"), "WEBLNK_BAD_ANSWER -1 []", "GET /a 206\n"},
        {Answer(404, "a page"), "WEBLNK_REFUSED 404 []", "GET /a 404\n"},
        {Answer(404, std::string(9999, 'x')).endless(), "WEBLNK_REFUSED 404 []", "GET /a 404\n"},
        {moved(301, "/a/"), "WEBLNK_REFUSED 301 []", "GET /a 301\n"},
        {Answer(301), "WEBLNK_REFUSED 301 []", "GET /a 301\n"},
    };
    for (const auto& row : rows) {
        ScriptedServer server;
        server.on("GET", "/a", row.answer);
        Driven driven;
        EXPECT_EQ(driven.client(server.url("a")).get(), row.outcome);
        EXPECT_EQ(server.transcript(), row.transcript);
        EXPECT_EQ(driven.sentences().empty(), std::string_view(row.outcome).starts_with("200"));
    }
}

TEST(WeblnkReading, aGetReportsWhatCame) {
    ScriptedServer server;
    server.on("GET", "/a", Answer(good).with("Last-Modified", "Sun, 06 Nov 1994 08:49:37 GMT"));
    server.on("GET", "/sub", moved(301, "/sub/"));
    Driven driven;
    std::string moves;
    driven.settings.progress = [&](const vxhost::Progress& now) {
        moves += std::to_string(now.moved) + '/' + std::to_string(now.total) + ' ';
    };
    auto client = driven.client(server.url("a"));
    client.get();
    EXPECT_EQ(client.report.length, 10u);
    EXPECT_EQ(client.report.modified, 784111777.0);
    EXPECT_EQ(client.report.flags, 0u);
    EXPECT_EQ(moves, "10/10 ");

    auto collection = driven.client(server.url("sub"));
    collection.get();
    EXPECT_EQ(collection.report.flags, vx::GET_OF_COLLECTION);
    EXPECT_TRUE(collection.report.modified != collection.report.modified);
    EXPECT_EQ(driven.sentences(),
              "GET " + server.url("sub") + ": it is a collection, not a member.\n");
}

TEST(WeblnkReading, idempotentRequestsAreRepeated) {
    const Answer busy = Answer(503).with("Retry-After", "0");
    const struct {
        std::vector<Answer> first;
        const char *outcome, *transcript;
    } rows[] = {
        {{busy, Answer(429)}, "200", "HEAD /a 503\nHEAD /a 429\nHEAD /a 200\n"},
        {{busy, busy, busy}, "503", "HEAD /a 503\nHEAD /a 503\nHEAD /a 503\n"},
        {{Answer(503).with("Retry-After", "3600")}, "503", "HEAD /a 503\n"},
        {{Answer(200).dropped()}, "200", "HEAD /a 0\nHEAD /a 200\n"},
        {{Answer(500)}, "500", "HEAD /a 500\n"},
    };
    for (const auto& row : rows) {
        ScriptedServer server;
        for (const Answer& answer : row.first) server.once("HEAD", "/a", answer);
        server.on("HEAD", "/a", Answer(200));
        Driven driven;
        EXPECT_EQ(driven.client(server.url("a")).head(), row.outcome);
        EXPECT_EQ(server.transcript(), row.transcript);
    }
}

TEST(WeblnkReading, redirectsStayWithinTheOrigin) {
    ScriptedServer other;
    const struct {
        Answer answer;
        const char *outcome, *transcript;
    } rows[] = {
        {moved(301, "b"), "200", "HEAD /a 301\nHEAD /b 200\n"},
        {moved(302, "/b#part"), "200", "HEAD /a 302\nHEAD /b 200\n"},
        {moved(307, "/b?x=1"), "200", "HEAD /a 307\nHEAD /b?x=1 200\n"},
        {moved(308, "/b c\xC3\xA4"), "200", "HEAD /a 308\nHEAD /b%20c%C3%A4 200\n"},
        {moved(303, "/b"), "303", "HEAD /a 303\n"},
        {Answer(302), "302", "HEAD /a 302\n"},
        {moved(301, "/a"), "WEBLNK_BAD_ANSWER -1",
         "HEAD /a 301\nHEAD /a 301\nHEAD /a 301\nHEAD /a 301\nHEAD /a 301\nHEAD /a 301\n"},
        {moved(302, other.url("x")), "WEBLNK_REDIRECTED_AWAY -1", "HEAD /a 302\n"},
        {moved(302, "//example.invalid/x"), "WEBLNK_REDIRECTED_AWAY -1", "HEAD /a 302\n"},
        {moved(302, "file:///etc/passwd"), "WEBLNK_REDIRECTED_AWAY -1", "HEAD /a 302\n"},
    };
    for (const auto& row : rows) {
        ScriptedServer server;
        server.on("HEAD", "/b*", Answer(200)).on("HEAD", "/a", row.answer);
        Driven driven;
        EXPECT_EQ(driven.client(server.url("a")).head(), row.outcome);
        EXPECT_EQ(server.transcript(), row.transcript);
    }
    EXPECT_EQ(other.connections(), 0);
}

TEST(WeblnkReading, optionsOfAMissingMemberAskItsCollection) {
    const Answer classTwo = Answer(200).with("DAV", "1, 2").with("Allow", "OPTIONS, PROPFIND");
    const std::string forNew = "200 PUT_NEW MKCOL LOCK UNLOCK OPTIONS";
    const struct {
        const char* path;
        Answer own, parent;
        std::string outcome;
    } rows[] = {
        {"d/a", Answer(404), classTwo, forNew},
        {"d/a", Answer(405), classTwo,
         "200 GET HEAD PUT PUT_NEW DELETE MOVE MKCOL PROPFIND LOCK UNLOCK OPTIONS"},
        {"d/a", Answer(404), Answer(200).with("DAV", "1"), "200 PUT_NEW MKCOL OPTIONS"},
        {"d/a", Answer(404), Answer(200).with("Allow", "GET, PUT"), "200 PUT_NEW OPTIONS"},
        {"d/a", Answer(404), Answer(200), "200 OPTIONS"},
        {"d/a", Answer(404), Answer(401), "404"},
        {"d/a", Answer(403), classTwo, "403"},
        {"d/a/", Answer(404), classTwo, "404"},
    };
    for (const auto& row : rows) {
        ScriptedServer server;
        server.on("OPTIONS", "/d/", row.parent).on("OPTIONS", "/d/a*", row.own);
        Driven driven;
        EXPECT_EQ(driven.client(server.url(row.path)).options(), row.outcome);
    }
}

TEST(WeblnkReading, headAsksForPropertiesWhenItMay) {
    const auto status = [](const std::string& line) {
        return multistatus("<response><href>/c/</href><status>" + line + "</status></response>");
    };
    const struct {
        int head;
        Answer properties;
        const char* outcome;
    } rows[] = {
        {405, multistatus("<response><href>/c/</href></response>"), "200"},
        {403, multistatus(""), "200"},
        {404, multistatus("<response><href>/c/</href></response>"), "404"},
        {404,
         multistatus("<response><href>/c/</href><propstat><prop><resourcetype><collection/>"
                     "</resourcetype></prop></propstat></response>"),
         "200"},
        {404, Answer(404), "404"},
        {405, Answer(404), "404"},
        {405, Answer(401), "401"},
        {403, Answer(403), "403"},
        {405, status("HTTP/1.1 404 Not Found"), "404"},
        {405, Answer::xml(207, "<multistatus"), "405"},
        {500, multistatus(""), "500"},
    };
    for (const auto& row : rows) {
        ScriptedServer server;
        server.on("HEAD", "/c/", Answer(row.head)).on("PROPFIND", "/c/", row.properties);
        Driven driven;
        EXPECT_EQ(driven.client(server.url("c/")).head(), std::to_string(row.head));
        driven.clientOption = vx::CLIENT_HEAD_BY_PROPFIND;
        EXPECT_EQ(driven.client(server.url("c/")).head(), row.outcome);
    }
}

TEST(WeblnkReading, propFindTakesDocumentsOnly) {
    const std::string member = "<response><href>x%20y</href></response>";
    const struct {
        Answer answer;
        const char *outcome, *sentence;
    } rows[] = {
        {multistatus("<response><href>/c</href></response>" + member), "207 URL URLx%20y", ""},
        {Answer(good).with("Content-Type", "text/html"), "200 no document", ""},
        {Answer(404, "page"), "404 no document", ""},
        {multistatus("<response>"), "WEBLNK_BAD_ANSWER -1 no document", "no usable XML"},
        {multistatus(member).truncatedAfter(60), "WEBLNK_CUT_OFF -1 no document", "cut off"},
        {Answer::xml(207, "<!DOCTYPE x [<!ENTITY e 'eee'>]><x>&e;</x>"),
         "WEBLNK_BAD_ANSWER -1 no document", "no usable XML"},
        {Answer::xml(207, "<a>").endless(), "WEBLNK_BAD_ANSWER -1 no document", "no usable XML"},
    };
    for (const auto& row : rows) {
        ScriptedServer server;
        server.on("PROPFIND", "/c/", row.answer);
        Driven driven;
        std::string outcome = driven.client(server.url("c/")).propFind(1);
        const std::string url = server.url("c/");
        for (size_t at; (at = outcome.find(url)) != outcome.npos;) {
            outcome.replace(at, url.size(), "URL");
        }
        EXPECT_EQ(outcome, row.outcome);
        EXPECT_NE(driven.sentences().find(row.sentence), std::string::npos) << row.sentence;
        EXPECT_EQ(server.requests().at(0).field("Depth"), "1");
    }
}

TEST(WeblnkReading, aBrokenPropFindIsBegunAnew) {
    ScriptedServer server;
    const Answer whole = multistatus("<response><href>/c/a</href></response>");
    server.once("PROPFIND", "/c/", Answer(whole).truncatedAfter(60)).on("PROPFIND", "/c/", whole);
    Driven driven;
    EXPECT_EQ(driven.client(server.url("c/")).propFind(1), "207 " + server.url("c/a"));
}

TEST(WeblnkReading, aStalledTransferEndsButASlowOneDoesNot) {
    ScriptedServer server;
    server.on("GET", "/stalled", Answer(good).stalledAfter(4));
    server.on("GET", "/slow", Answer(good).slowly(1, support::Duration{100}));
    Driven driven;
    driven.settings.stallTimeout = std::chrono::milliseconds(500);
    EXPECT_EQ(driven.client(server.url("stalled")).get(), "WEBLNK_TIMED_OUT -1 [0123]");
    EXPECT_EQ(driven.sentences(),
              "GET " + server.url("stalled") + ": no byte moved for 0.5 seconds.\n");
    EXPECT_EQ(driven.client(server.url("slow")).get(), "200 [0123456789]");
}

TEST(WeblnkReading, anInterruptEndsTheRunningRequest) {
    ScriptedServer server;
    server.on("GET", "/a", Answer(good).stalledAfter(4));
    Driven driven;
    driven.settings.progress = [&](const vxhost::Progress&) { driven.interrupted = true; };
    EXPECT_EQ(driven.client(server.url("a")).get(), "WEBLNK_INTERRUPTED -1 [0123]");
    EXPECT_EQ(driven.client(server.url("a")).head(), "WEBLNK_INTERRUPTED -1");
    EXPECT_EQ(server.transcript(), "GET /a 200\n");
}

TEST(WeblnkReading, whatCannotBeReachedSaysWhy) {
    uint16_t closedPort = ScriptedServer().port();
    const std::string closed = "http://127.0.0.1:" + std::to_string(closedPort) + "/";
    const struct {
        std::string url;
        const char *outcome, *sentence;
    } rows[] = {
        {closed, "WEBLNK_NO_CONNECTION -1", "no connection"},
        {"http://nowhere.invalid/", "WEBLNK_NO_SUCH_HOST -1", "no such host"},
        {"ftp://127.0.0.1/", "WEBLNK_BAD_URL -1", "\"ftp://127.0.0.1/\" is no http or https URL."},
        {"", "WEBLNK_BAD_URL -1", "no http or https URL"},
        {"http://127.0.0.1:99999/", "WEBLNK_BAD_URL -1", "not a usable URL"},
    };
    for (const auto& row : rows) {
        Driven driven;
        EXPECT_EQ(driven.client(row.url).head(), row.outcome) << row.url;
        EXPECT_NE(driven.sentences().find(row.sentence), std::string::npos) << row.sentence;
    }
}

}  // namespace
}  // namespace weblnk_test
