// HEAD, OPTIONS, PROPFIND and GET against a server that misbehaves.
#include <gtest/gtest.h>

#include "tests/support/scripted_server.hpp"
#include "tests/weblnk/driven.hpp"

using support::Answer;
using support::ScriptedServer;

namespace weblnk_test {
namespace {

const Answer good(200, "0123456789");
const Answer busy = Answer(503).with("Retry-After", "0");

Answer moved(int status, const std::string& location) {
    return Answer(status).with("Location", location);
}

Answer multistatus(const std::string& responses) {
    return Answer::xml(207, "<multistatus xmlns='DAV:'>" + responses + "</multistatus>");
}

TEST(WeblnkReading, anAnswerIsWholeOrAskedForAgainOrRefused) {
    ScriptedServer other;
    const std::string cut = "WEBLNK_CUT_OFF -1 [";
    const struct {
        std::string (DrivenClient::*operation)();
        std::vector<Answer> answers;  // of which the last is repeated
        std::string outcome, statuses;
    } rows[] = {
        {&DrivenClient::get, {good}, "200 [0123456789]", "a 200"},
        {&DrivenClient::get, {Answer(good).chunked()}, "200 [0123456789]", "a 200"},
        {&DrivenClient::get, {Answer(200)}, "200 []", "a 200"},
        {&DrivenClient::get, {Answer(good).truncatedAfter(4)}, cut + "0123]", "a 200"},
        {&DrivenClient::get, {Answer(good).chunked().truncatedAfter(4)}, cut + "0123]", "a 200"},
        {&DrivenClient::get, {Answer(good).resetAfter(4)}, cut + "0123]", "a 200"},
        {&DrivenClient::get, {Answer(good).declaring(12)}, cut + "0123456789]", "a 200"},
        {&DrivenClient::get, {Answer(good).truncatedAfter(0)}, cut + "]", "a 200 a 200 a 200"},
        {&DrivenClient::get, {Answer(good).dropped()}, cut + "]", "a 0 a 0 a 0"},
        {&DrivenClient::get, {Answer::raw("SMTP\r\n")}, "WEBLNK_BAD_ANSWER -1 []", "a 200"},
        {&DrivenClient::get, {Answer(206, "part")}, "WEBLNK_BAD_ANSWER -1 []", "a 206"},
        {&DrivenClient::get, {Answer(404).endless()}, "WEBLNK_REFUSED 404 []", "a 404"},
        {&DrivenClient::get, {moved(301, "/a/")}, "WEBLNK_REFUSED 301 []", "a 301"},
        {&DrivenClient::get, {Answer(301)}, "WEBLNK_REFUSED 301 []", "a 301"},
        {&DrivenClient::head, {busy, Answer(429), good}, "200", "a 503 a 429 a 200"},
        {&DrivenClient::head, {busy}, "503", "a 503 a 503 a 503"},
        {&DrivenClient::head, {Answer(503).with("Retry-After", "3600")}, "503", "a 503"},
        {&DrivenClient::head, {Answer(200).dropped(), good}, "200", "a 0 a 200"},
        {&DrivenClient::head, {Answer(500)}, "500", "a 500"},
        {&DrivenClient::head, {moved(301, "b")}, "200", "a 301 b 200"},
        {&DrivenClient::head, {moved(302, "/b#part")}, "200", "a 302 b 200"},
        {&DrivenClient::head, {moved(307, "/b?x=1")}, "200", "a 307 b?x=1 200"},
        {&DrivenClient::head, {moved(308, "/b c\xC3\xA4")}, "200", "a 308 b%20c%C3%A4 200"},
        {&DrivenClient::head, {moved(303, "/b")}, "303", "a 303"},
        {&DrivenClient::head, {Answer(302)}, "302", "a 302"},
        {&DrivenClient::head,
         {moved(301, "/a")},
         "WEBLNK_BAD_ANSWER -1",
         "a 301 a 301 a 301 a 301 a 301 a 301"},
        {&DrivenClient::head, {moved(302, other.url())}, "WEBLNK_REDIRECTED_AWAY -1", "a 302"},
        {&DrivenClient::head, {moved(302, "//h.invalid/")}, "WEBLNK_REDIRECTED_AWAY -1", "a 302"},
        {&DrivenClient::head, {moved(302, "file:///etc")}, "WEBLNK_REDIRECTED_AWAY -1", "a 302"},
    };
    for (const auto& row : rows) {
        ScriptedServer server;
        server.on("HEAD", "/b*", Answer(200)).on("*", "/a", row.answers.back());
        for (size_t i = 0; i + 1 < row.answers.size(); ++i) server.once("*", "/a", row.answers[i]);
        Driven driven;
        auto client = driven.client(server.url("a"));
        EXPECT_EQ((client.*row.operation)(), row.outcome);
        std::string statuses;
        for (const auto& request : server.requests()) {
            statuses += ' ' + request.target.substr(1) + ' ' + std::to_string(request.answered);
        }
        EXPECT_EQ(statuses, ' ' + row.statuses);
        const bool silent = row.outcome.find("WEBLNK") == std::string::npos;
        EXPECT_EQ(driven.sentences().empty(), silent) << row.outcome;
    }
    EXPECT_EQ(other.connections(), 0);
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

TEST(WeblnkReading, optionsOfAMissingMemberAskItsCollection) {
    const Answer classTwo = Answer(200).with("DAV", "1, 2").with("Allow", "OPTIONS, PROPFIND");
    const struct {
        const char* path;
        int own;
        Answer parent;
        const char* outcome;
    } rows[] = {
        {"d/a", 404, classTwo, "200 PUT_NEW MKCOL LOCK UNLOCK OPTIONS"},
        {"d/a", 405, classTwo,
         "200 GET HEAD PUT PUT_NEW DELETE MOVE MKCOL PROPFIND LOCK UNLOCK OPTIONS"},
        {"d/a", 404, Answer(200).with("DAV", "1"), "200 PUT_NEW MKCOL OPTIONS"},
        {"d/a", 404, Answer(200).with("Allow", "GET, PUT"), "200 PUT_NEW OPTIONS"},
        {"d/a", 404, Answer(200), "200 OPTIONS"},
        {"d/a", 404, Answer(401), "404"},
        {"d/a", 403, classTwo, "403"},
        {"d/a/", 404, classTwo, "404"},
    };
    for (const auto& row : rows) {
        ScriptedServer server;
        server.on("OPTIONS", "/d/", row.parent).on("OPTIONS", "/d/a*", Answer(row.own));
        EXPECT_EQ(Driven().client(server.url(row.path)).options(), row.outcome);
    }
}

TEST(WeblnkReading, headAsksForPropertiesWhenItMay) {
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
        {405, Answer(404), "404"},
        {405, Answer(401), "401"},
        {403, Answer(403), "403"},
        {405, multistatus("<response><status>HTTP/1.1 404 Not Found</status></response>"), "404"},
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

TEST(WeblnkReading, propFindTakesWholeDocumentsOnly) {
    const Answer list = multistatus(
        "<response><href>/c/</href></response>"
        "<response><href>x%20y</href></response>");
    const struct {
        Answer answer;
        const char *outcome, *sentence;
    } rows[] = {
        {list, "207 URL URLx%20y", ""},
        {Answer(good).with("Content-Type", "text/html"), "200 no document", ""},
        {Answer(404, "page"), "404 no document", ""},
        {multistatus("<response>"), "WEBLNK_BAD_ANSWER -1 no document", "no usable XML"},
        {Answer(list).truncatedAfter(60), "WEBLNK_CUT_OFF -1 no document", "cut off"},
        {Answer::xml(207, "<!DOCTYPE x [<!ENTITY e 'eee'>]><x>&e;</x>"),
         "WEBLNK_BAD_ANSWER -1 no document", "no usable XML"},
        {Answer::xml(207, "<a>").endless(), "WEBLNK_BAD_ANSWER -1 no document", "no usable XML"},
    };
    for (const auto& row : rows) {
        ScriptedServer server;
        server.on("PROPFIND", "/c/", row.answer);
        Driven driven;
        const std::string url = server.url("c/");
        std::string outcome = driven.client(url).propFind(1);
        for (size_t at; (at = outcome.find(url)) != outcome.npos;) {
            outcome.replace(at, url.size(), "URL");
        }
        EXPECT_EQ(outcome, row.outcome);
        EXPECT_NE(driven.sentences().find(row.sentence), std::string::npos) << row.sentence;
        EXPECT_EQ(server.requests().at(0).field("Depth"), "1");
    }
    ScriptedServer server;  // begun anew, not gone on with
    server.once("PROPFIND", "/c/", Answer(list).truncatedAfter(90)).on("PROPFIND", "/c/", list);
    EXPECT_EQ(Driven().client(server.url("c/")).propFind(1),
              "207 " + server.url("c/") + ' ' + server.url("c/x%20y"));
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
    driven.settings.progress = [&](const vxhost::Progress&) { driven.interrupted = true; };
    EXPECT_EQ(driven.client(server.url("stalled")).get(), "WEBLNK_INTERRUPTED -1 [0123]");
    EXPECT_EQ(driven.client(server.url("stalled")).head(), "WEBLNK_INTERRUPTED -1");
    EXPECT_EQ(server.transcript(), "GET /stalled 200\nGET /slow 200\nGET /stalled 200\n");
}

TEST(WeblnkReading, whatCannotBeReachedSaysWhy) {
    const std::string closed = ScriptedServer().url();
    const struct {
        std::string url;
        const char *outcome, *sentence;
    } rows[] = {
        {closed, "WEBLNK_NO_CONNECTION -1", "no connection"},
        {"http://nowhere.invalid/", "WEBLNK_NO_SUCH_HOST -1", "no such host"},
        {"ftp://127.0.0.1/", "WEBLNK_BAD_URL -1", "\"ftp://127.0.0.1/\" is no http or https URL."},
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
