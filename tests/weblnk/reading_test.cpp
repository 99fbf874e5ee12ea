// HEAD, OPTIONS, PROPFIND and GET.
#include <gtest/gtest.h>

#include "tests/weblnk/driven.hpp"

using support::Answer;
using support::ScriptedServer;

namespace weblnk_test {
namespace {

const Answer good(200, "0123456789");
const Answer busy = Answer(503).with("Retry-After", "0");

constexpr auto head = &Driven::head, get = &Driven::get, list = &Driven::list;

auto at(const std::string& url) {
    return [url](Driven& driven) { return driven.at(url).head(); };
}

Answer moved(int status, const std::string& location) {
    return Answer(status).with("Location", location);
}

Answer raw(const std::string& fieldsAndBody) {
    return Answer().replacedBy("HTTP/1.1 200 OK\r\n" + fieldsAndBody);
}

Answer multistatus(const std::string& responses) {
    return Answer::xml(207, "<multistatus xmlns='DAV:'>" + responses + "</multistatus>");
}

TEST(WeblnkReading, anAnswerIsWholeOrAskedForAgainOrRefused) {
    const Answer page = Answer(404, std::string(5000, 'x')).endless();
    std::string manyFields;
    while (manyFields.size() < 400'000) manyFields += "X: " + std::string(1000, 'x') + "\r\n";
    const Answer interim = Answer().replacedBy("HTTP/1.1 101 Switching\r\n\r\nHTTP");
    const std::string cut = "cut off", thrice = "GET /a 200, GET /a 200, GET /a 200";
    checkAll({
        {get, {good}, "200 [0123456789]", "GET /a 200"},
        {get, {Answer(200)}, "200 []", "GET /a 200"},
        {get, {Answer(good).truncatedAfter(4)}, "CUT_OFF [0123", "GET /a 200", cut},
        {get, {Answer(good).truncatedAfter(0)}, "CUT_OFF [", thrice, cut},
        {get, {Answer(good).truncatedAfter(0), good}, "200 [0123456789]", "GET /a 200, GET /a 200"},
        {get, {Answer().replacedBy("SMTP\r\n")}, "BAD_ANSWER [", "GET /a 0", "not HTTP"},
        {get, {Answer(206, "part")}, "BAD_ANSWER [", "GET /a 206", "answered 206"},
        {get, {Answer(202, "later")}, "BAD_ANSWER [", "GET /a 202", "answered 202"},
        {get, {raw("Content-Length: 0x64\r\n\r\n")}, "BAD_ANSWER [", "GET /a 0", "length"},
        {get, {raw("ETag: \"1\"\r\n"), good}, "200 [0123456789]", "GET /a 0, GET /a 200"},
        {head, {raw("X: " + std::string(200'000, 'x'))}, "BAD_ANSWER", "HEAD /a 0", "too long"},
        {head, {raw(manyFields)}, "BAD_ANSWER", "HEAD /a 0", "no end"},
        {get, {page}, "REFUSED 404 [", "GET /a 404", "answered 404"},
        {get, {moved(301, "/a/")}, "REFUSED 301 [", "GET /a 301", "it is a collection"},
        {get, {moved(301, "/%C3/")}, "REFUSED 301 [", "GET /%c3 301", "a collection", "%c3"},
        {get, {Answer(301)}, "REFUSED 301 [", "GET /a 301", "answered 301"},
        {head, {busy, Answer(429), good}, "200", "HEAD /a 503, HEAD /a 429, HEAD /a 200"},
        {head, {busy}, "503", "HEAD /a 503, HEAD /a 503, HEAD /a 503"},
        {head, {Answer(503).with("Retry-After", "3600")}, "503", "HEAD /a 503"},
        {head, {Answer().dropped(), good}, "200", "HEAD /a 0, HEAD /a 200"},
        {get, {interim, good}, "200 [0123456789]", "GET /a 0, GET /a 200"},
        {head, {Answer(500)}, "500", "HEAD /a 500"},
        {head, {moved(301, "b"), good}, "200", "HEAD /a 301, HEAD /b 200"},
        {head, {moved(302, "/b#part"), good}, "200", "HEAD /a 302, HEAD /b 200"},
        {head, {moved(307, "/b?x=1"), good}, "200", "HEAD /a 307, HEAD /b?x=1 200"},
        {head, {moved(308, "/b c\xC3\xA4"), good}, "200", "HEAD /a 308, HEAD /b%20c%C3%A4 200"},
        {head, {moved(303, "/b")}, "303", "HEAD /a 303"},
        {head, {Answer(302)}, "302", "HEAD /a 302"},
        {head,
         {moved(301, "/a")},
         "BAD_ANSWER",
         "HEAD /a 301, HEAD /a 301, HEAD /a 301, HEAD /a 301, HEAD /a 301, HEAD /a 301",
         "more than 5 redirects"},
        {head, {moved(302, "//h.invalid/")}, "REDIRECTED_AWAY", "HEAD /a 302", "http://h.invalid/"},
        {head, {moved(302, "http://127.0.0.1:1/a")}, "REDIRECTED_AWAY", "HEAD /a 302", ":1/a"},
        {head, {moved(302, "file:///etc")}, "BAD_ANSWER", "HEAD /a 302", "no http or https URL"},
        {at("http://127.0.0.1:1/"), {good}, "NO_CONNECTION", "", "no connection"},
        {at("http://nowhere.invalid/"), {good}, "NO_SUCH_HOST", "", "no such host"},
        {at("http://h/c/.."), {good}, "BAD_URL", "", "are no names"},
        {at("http://h/c/%2E"), {good}, "BAD_URL", "", "are no names"},
        {at("http://h/c/.%2e/"), {good}, "BAD_URL", "", "are no names"},
        {at("http://h/c/a/../b"), {good}, "BAD_URL", "", "are no names"},
        {at("ftp://h/"), {good}, "BAD_URL", "", "\"ftp://h/\" is no http or https URL."},
        {at("http://127.0.0.1:99999/"), {good}, "BAD_URL", "", "not a usable URL"},
    });
}

// Nothing but the end of the connection shows the end of an answer that has neither a length nor
// chunks; then the size is what HEAD or PROPFIND tells.
TEST(WeblnkReading, contentThatMayBeCutShortMustHaveTheSizeThatIsTold) {
    const auto sized = [](const std::string& size) {
        return multistatus("<response><propstat><prop><getcontentlength>" + size +
                           "</getcontentlength></prop></propstat></response>");
    };
    const auto unproven = [](Driven& driven) {
        std::string outcome = driven.get();
        return outcome += driven.report.flags & vx::GET_END_UNPROVEN ? " unproven" : "";
    };
    const auto both = [](Driven& driven) {
        driven.head();
        return driven.get();
    };
    const Answer bare = raw("\r\n0123"), none(204), no(405);
    const Answer chunked = raw("Transfer-Encoding: chunked\r\n\r\n4\r\n0123\r\n0\r\n\r\n");
    const std::string asked = "GET /a 0, PROPFIND /a 0 ";
    // A label on what is stored so, as of an archive, is no coding on the way.
    const Answer coded = Answer(200, "0123").with("Content-Encoding", "gzip");
    const std::string decoding = "GET /a 200, PROPFIND /a 0 207";
    checkAll({
        {get, {coded, sized("4")}, "200 [0123]", decoding},
        {get, {coded, sized("9")}, "BAD_ANSWER 200 [0123", decoding, "in the coding gzip"},
        {unproven, {chunked}, "200 [0123]", "GET /a 0"},
        {unproven, {bare, no}, "200 [0123] unproven", asked + "405"},
        {unproven, {bare, sized(" ")}, "200 [0123] unproven", asked + "207"},
        {unproven, {bare, sized("4")}, "200 [0123]", asked + "207"},
        {get, {bare, sized("5")}, "CUT_OFF 200 [0123", asked + "207", "tells a size of 5"},
        {both, {Answer(200, "head"), bare}, "200 [0123]", "HEAD /a 200, GET /a 0"},
        {both, {good, bare, no}, "CUT_OFF 200 [0123", "HEAD /a 200, " + asked + "405", "of 10"},
        {both, {Answer(200), none}, "204 []", "HEAD /a 200, GET /a 204"},
        {get, {none, sized("0")}, "204 []", "GET /a 204, PROPFIND /a 0 207"},
        {get, {none, no}, "CUT_OFF 204 [", "GET /a 204, PROPFIND /a 0 405", "tells no size"},
    });
}

TEST(WeblnkReading, optionsOfAMissingMemberAskItsCollection) {
    constexpr uint32_t fresh = vx::ALLOW_OPTIONS | vx::ALLOW_PUT_NEW, mkcol = vx::ALLOW_MKCOL,
                       locks = vx::ALLOW_LOCK | vx::ALLOW_UNLOCK,
                       may = vx::ALLOW_OPTIONS | vx::ALLOW_GET | vx::ALLOW_HEAD;
    const auto allows = [](uint32_t mask) {
        return [mask](Driven& driven) {
            std::string status = driven.options();
            EXPECT_EQ(driven.allowed, mask);
            return status;
        };
    };
    const Answer classOne = Answer(200).with("DAV", "1"), plain(200);
    const Answer classTwo = Answer(200).with("DAV", "1, 2").with("Allow", "OPTIONS, PROPFIND");
    const Answer takesPut = Answer(200).with("Allow", "GET, PUT");
    // A body that lighttpd announces, and never sends.
    const Answer announced = Answer(200).with("Transfer-Encoding", "chunked").stalledAfter(0);
    const std::string asked = "OPTIONS /a 404, OPTIONS / 200";
    checkAll({
        {allows(fresh | mkcol | locks), {Answer(404), classTwo}, "200", asked},
        {allows(fresh | mkcol), {Answer(404), classOne}, "200", asked},
        {allows(fresh), {Answer(404), takesPut}, "200", asked},
        {allows(vx::ALLOW_OPTIONS), {Answer(404), plain}, "200", asked},
        {allows(may), {Answer(405), plain}, "200", "OPTIONS /a 405, OPTIONS / 200"},
        {allows(0), {Answer(404), Answer(401)}, "404", "OPTIONS /a 404, OPTIONS / 401"},
        {allows(may), {announced}, "200", "OPTIONS /a 200"},
        {allows(0), {Answer(403), classTwo}, "403", "OPTIONS /a 403"},
        {allows(0), {Answer(404), classTwo}, "404", "OPTIONS /a/ 404", "", "a/"},
    });
}

TEST(WeblnkReading, aChunkedAnswerToOptionsKeepsTheConnection) {
    ScriptedServer server;
    server.on("OPTIONS", "/a", Answer(200, "0\r\n\r\n").with("Transfer-Encoding", "chunked"));
    Driven driven;
    for (int i = 0; i < 3; ++i) EXPECT_EQ(driven.at(server.url("a")).options(), "200");
    EXPECT_EQ(server.connections(), 1);
}

TEST(WeblnkReading, headAsksForPropertiesWhenItMay) {
    const Answer aCollection = multistatus(
        "<response><propstat><prop><resourcetype><collection/></resourcetype></prop>"
        "</propstat></response>");
    const Answer aMember = multistatus("<response><href>/a</href></response>");
    const Answer nothing =
        multistatus("<response><status>HTTP/1.1 404 Not Found</status></response>");
    const auto both = [](Driven& driven) {
        driven.clientOption = vx::CLIENT_HEAD_BY_PROPFIND;
        return driven.at(driven.url).head();
    };
    checkAll({
        {head, {Answer(405)}, "405", "HEAD /a 405"},
        {both, {Answer(405), aMember}, "200", "HEAD /a 405, PROPFIND /a 0 207"},
        {both, {Answer(403), aMember}, "200", "HEAD /a 403, PROPFIND /a 0 207"},
        {both, {Answer(404), aMember}, "404", "HEAD /a 404, PROPFIND /a 0 207"},  // a locked name
        {both, {Answer(404), aCollection}, "200", "HEAD /a 404, PROPFIND /a 0 207"},
        {both, {Answer(405), Answer(404)}, "404", "HEAD /a 405, PROPFIND /a 0 404"},
        {both, {Answer(405), Answer(401)}, "401", "HEAD /a 405, PROPFIND /a 0 401"},
        {both, {Answer(403), Answer(405)}, "403", "HEAD /a 403, PROPFIND /a 0 405"},
        {both, {Answer(405), nothing}, "404", "HEAD /a 405, PROPFIND /a 0 207"},
        {both, {Answer(405), Answer::xml(207, "<a")}, "405", "HEAD /a 405, PROPFIND /a 0 207"},
        {both, {Answer(500)}, "500", "HEAD /a 500"},
    });
}

TEST(WeblnkReading, propFindTakesWholeDocumentsOnly) {
    const Answer two =
        multistatus("<response><href>/a</href></response><response><href>x%20y</href></response>");
    const Answer bomb = Answer::xml(207, "<!DOCTYPE x [<!ENTITY e 'eee'>]><x>&e;</x>");
    const Answer there = multistatus(
        "<response><href>/new/b</href></response><response><href>/new/b/c</href></response>");
    const auto small = [](Driven& driven) {
        driven.settings.mostListingBytes = 100;
        return driven.list();
    };
    const std::string once = "PROPFIND /a 1 207", at = "PROPFIND /new/b/ 1 207",
                      none = "BAD_ANSWER no document", xml = "cannot be used";
    checkAll({
        {list, {two}, "207 URL/a URL/x%20y", once},
        // Self, in the spelling of the URL that was asked for: behind a redirect, too.
        {list, {moved(302, "/new/b/"), there}, "207 URL/a /new/b/c", "PROPFIND /a 1 302, " + at},
        // Begun anew, not gone on with.
        {list, {Answer(two).truncatedAfter(90), two}, "207 URL/a URL/x%20y", once + ", " + once},
        {list, {good}, "200 no document", "PROPFIND /a 1 200"},
        {list, {Answer(404, "page")}, "404 no document", "PROPFIND /a 1 404"},
        {list, {Answer(207)}, none, once, xml},
        {list, {multistatus("<response>")}, none, once, xml},
        {list, {bomb}, none, once, xml},
        {list, {Answer::xml(207, "<a>").endless()}, none, once, xml},
        {small, {two}, none, once, "0 MiB of memory"},
    });
}

TEST(WeblnkReading, aStalledTransferEndsButASlowOneDoesNot) {
    ScriptedServer server;
    server.on("GET", "/stalled", Answer(good).stalledAfter(4));
    server.on("*", "/slow", Answer(good).slowly(1, support::Duration{100}));
    Driven driven;
    driven.settings.stallTimeout = std::chrono::milliseconds(500);
    EXPECT_EQ(driven.at(server.url("stalled")).get(), "TIMED_OUT [0123");
    EXPECT_EQ(driven.sentences(),
              "GET " + server.url("stalled") + ": no byte moved for 0.5 seconds.\n");
    driven.settings.answerTimeout = std::chrono::milliseconds(300);  // for what is no content
    EXPECT_EQ(driven.at(server.url("slow")).get(), "200 [0123456789]");
    EXPECT_EQ(driven.list(), "TIMED_OUT no document");
    driven.settings.leastSpeed = 1000;
    EXPECT_TRUE(driven.get().starts_with("TIMED_OUT [0"));
    const std::string told = driven.sentences();
    EXPECT_NE(told.find("has not ended within 0.3 seconds."), told.npos) << told;
    EXPECT_NE(told.find(" bytes moved in 0.5 seconds."), told.npos) << told;
}

}  // namespace
}  // namespace weblnk_test
