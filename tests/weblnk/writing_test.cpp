// PUT, LOCK, UNLOCK, DELETE, MOVE and MKCOL.
#include <gtest/gtest.h>

#include "platform/base/status.hpp"
#include "tests/weblnk/driven.hpp"

using support::Answer;

namespace weblnk_test {
namespace {

constexpr size_t MiB = 1 << 20;
constexpr uint32_t known = vx::PUT_LENGTH_KNOWN;

std::string lockAnswer(const std::string& timeout, const std::string& token = "urn:t:1",
                       const std::string& owner = "<owner>ada <x>&amp; co</x></owner>") {
    return "<prop xmlns='DAV:'><lockdiscovery><activelock>" + owner + "<timeout>" + timeout +
           "</timeout><locktoken><href>" + token +
           "</href></locktoken></activelock></lockdiscovery></prop>";
}

const Answer done(204);

Answer granted(const std::string& timeout) {
    return Answer::xml(200, lockAnswer(timeout)).with("Lock-Token", "<urn:t:1>");
}

// An answer whose member was last changed at that time of the answer's day, or a minute before.
Answer dated(const std::string& text, const char* tag, const std::string& time) {
    const std::string day = "Mon, 06 Jan 2025 ";
    return Answer(200, text)
        .with("ETag", tag)
        .with("Last-Modified", day + (time == "10:20:29" ? time : "10:19:30") + " GMT")
        .with("Date", day + "10:20:30 GMT");
}

Answer moved(int status, const char* location = "/b") {
    return Answer(status).with("Location", location);
}

auto putting(size_t size, vx::PutOptions options = {}, vx::Status end = vx::VX_END_OF_DATA) {
    return [=](Driven& driven) { return driven.put(pattern(size), options, end); };
}
std::string moving(Driven& driven) {
    return driven.move("http://h/b");
}
std::string movingUp(Driven& driven) {
    return driven.move("http://h/c/%2E.");
}
std::string locking(Driven& driven) {
    const std::string taken = driven.takeLock();
    return driven.lock ? taken + ", " + driven.unlock() : taken;
}
std::string sharing(Driven& driven) {
    driven.sharesLock = true;
    return locking(driven);
}
constexpr auto removing = &Driven::remove;
const std::string lock = "LOCK /a 0 Second-7200 ";

TEST(WeblnkPut, aPartNeverPassesForTheWhole) {
    const Answer stored(201);
    const std::string unread = "could not be read", begun = "PUT /a 100-continue [] 0";
    const auto torn = [](size_t size) { return putting(size, {}, vxhost::FSBOX_IO); };
    const auto announced = [](size_t size, uint64_t as) { return putting(size, {known, 0, as}); };
    checkAll({
        {torn(3), {stored}, "80BFE814", "", unread},
        {torn(3 * MiB), {stored}, "80BFE814", "PUT /a 100-continue [chunked ] 0", unread},
        {announced(3, 4), {stored}, "CUT_OFF", "", "has only 3 bytes instead of 4"},
        {announced(3, 0), {stored}, "CUT_OFF", "", "has more than 0 bytes instead of 0"},
        {announced(3 * MiB, 3 * MiB - 1), {stored}, "CUT_OFF", begun, "has more than"},
        {announced(3 * MiB, 3 * MiB + 1), {stored}, "CUT_OFF", begun, "has only"},
    });
}

TEST(WeblnkPut, conditionsAreSent) {
    const auto run = [](Driven& driven) {
        const auto put = [&](uint32_t flags) { driven.put("012", {flags, 0, 0}); };
        put(vx::PUT_ONLY_NEW);
        put(vx::PUT_IF_UNCHANGED);
        for (int i = 0; i < 3; ++i) {
            driven.get();
            put(vx::PUT_IF_UNCHANGED);
            put(vx::PUT_IF_UNCHANGED);
        }
        driven.takeLock();
        return driven.put("012");
    };
    const auto tagged = [](const char* tag) { return dated("x", tag, "10:20:30"); };
    const std::string both = "PUT /a [012] 204, PUT /a [012] 204, ";
    check({run,
           {Answer(204), Answer(204), tagged("\"e1\""), tagged("\"e2\""), tagged("\"e3\""),
            Answer(404), Answer(204), Answer(204), tagged("W/\"e4\""), Answer(204), Answer(204),
            granted("Second-600"), Answer(204)},
           "204",
           "PUT /a * [012] 204, PUT /a [012] 204, GET /a 200, PUT /a \"e1\" [012] 200, "
           "PUT /a \"e2\" [012] 200, GET /a 404, " +
               both + "GET /a 200, " + both +
               "LOCK /a 0 Second-7200 200, PUT /a (<urn:t:1>) [012] 204",
           "answered 404"});
}

// A PUT under a lock is refused with 412, and the lock taken again: what was seen then decides.
TEST(WeblnkPut, whatOthersStoredMeanwhileIsNotOverwritten) {
    const auto run = [](Driven& driven) {
        driven.takeLock();
        driven.get();
        const std::string first = driven.put("012");
        driven.lock.reset();
        driven.takeLock();
        driven.head();
        driven.propFind(0);
        return first + ", " + driven.put("012");
    };
    const auto properties = [](const char* tag) {
        return Answer::xml(207,
                           "<multistatus xmlns='DAV:'><response><href>/a</href><propstat><prop>"
                           "<getetag>" +
                               std::string(tag) +
                               "</getetag><getcontentlength>3</getcontentlength></prop></propstat>"
                               "</response></multistatus>");
    };
    const auto cycle = [&](const char* fetched, const char* head, const char* told) {
        return std::vector{granted("Infinite"), dated("old", fetched, "10:20:30"), Answer(412),
                           granted("Infinite"), dated("", head, "10:20:30"),       properties(told),
                           Answer(204)};
    };
    const std::string begin = lock + "200, GET /a 200, PUT /a (<urn:t:1> [",
                      middle = "]) 412, " + lock + "200, HEAD /a 200, PROPFIND /a 0 207",
                      again = ", PUT /a (<urn:t:1>", end = ") [012] 204",
                      told = "is not what was there";
    checkAll({
        {run, cycle("\"1\"", "\"1\"", "1"), "412, 204",
         begin + "\"1\"" + middle + again + " [\"1\"]" + end},
        {run, cycle("W/\"1\"", "\"1\"", "\"1\""), "412, 204",
         begin + "W/\"1\"" + middle + again + end},
        {run, cycle("\"1\"", "\"2\"", "\"2\""), "412, 412", begin + "\"1\"" + middle, told},
        {run, cycle("\"1\"", "\"1\"", "2"), "412, 412", begin + "\"1\"" + middle, told},
    });
}

// Its entity tag and dates say nothing: they might be those of a change in the same second.
TEST(WeblnkPut, aMemberChangedJustNowIsFetchedAgainAndCompared) {
    const auto run = [](Driven& driven) {
        driven.get();
        return driven.put("012", {vx::PUT_IF_UNCHANGED, 0, 0});
    };
    const auto now = [](const char* text) { return dated(text, "\"1\"", "10:20:29"); };
    const Answer old = now("old"), none(404);
    const std::string got = "GET /a 200, GET /a ";
    checkAll({
        {run, {old, old, done}, "204", got + "200, PUT /a \"1\" [012] 204"},
        {run, {old, now("odd"), done}, "412", got + "200", "is not what was there"},
        {run, {old, none, done}, "204", got + "404, PUT /a [012] 204"},
        {run, {old, Answer(403)}, "BAD_ANSWER", got + "403", "answered 403"},
    });
}

TEST(WeblnkPut, goesOutWholeOrNotAtAll) {
    const Answer stored(201), busy = Answer(503).with("Retry-After", "0");
    // For want of a 100; then it ends the connection, or still waits for the body there.
    const Answer ends = Answer(417).beforeBody(), waits = Answer(ends).stalledAfter(0);
    const Answer noChunks = Answer(411).beforeBody(), early = Answer(201).beforeBody();
    for (const uint32_t flags : {0u, known}) {
        const auto sized = [flags](size_t size) { return putting(size, {flags, 0, size}); };
        const auto empty = sized(0), small = sized(3), gathered = sized(MiB - 1),
                   large = sized(3 * MiB);
        const std::string asks = "PUT /a 100-continue ",
                          whole = flags ? "3145728" : "chunked 3145728";
        const std::string all = "[" + whole + "] 201", goes = ", PUT /a " + all;
        const std::string measured = flags ? "" : ", PUT /a 100-continue [3145728] 201";
        checkAll({
            {empty, {stored}, "201", "PUT /a [] 201"},
            {gathered, {stored}, "201", "PUT /a [1048575] 201"},
            {large, {stored}, "201", asks + all},
            {small, {moved(307), stored}, "201", "PUT /a 307, PUT /b [012] 201"},
            {small, {moved(301)}, "301", "PUT /a 301"},
            {small, {busy}, "503", "PUT /a 503"},
            {large, {moved(308), stored}, "201", asks + "308, PUT /b 100-continue " + all},
            {large, {moved(301)}, "301", asks + "301"},
            {large, {ends, stored}, "201", asks + "417" + goes},
            {large, {noChunks, stored}, flags ? "411" : "201", asks + "411" + measured},
            {large, {waits, stored}, "201", asks + "417" + goes},
            {large, {early}, "CUT_OFF", asks + (flags ? "[] 201" : "[chunked ] 201"), "before it"},
            {large, {Answer(412).beforeBody()}, "412", asks + "412"},
        });
    }
}

// Whether the server did it cannot be known, so it is not sent again, not even by curl on a
// connection that was kept.
TEST(WeblnkWriting, whatMayHaveBeenDoneIsNotRepeated) {
    const std::pair<std::string, std::function<std::string(Driven&)>> rows[] = {
        {"PUT /a/ [012]", putting(3)},          {"PUT /a/ []", putting(0)},
        {"DELETE /a/ infinity", removing},      {"MOVE /a/ infinity http://h/b F", moving},
        {"MKCOL /a/", &Driven::makeCollection},
    };
    for (const auto& [request, operation] : rows) {
        const auto run = [&operation = operation](Driven& driven) {
            driven.head();
            const std::string first = operation(driven);
            return first + ", " + operation(driven);  // over a new connection
        };
        const std::vector<Answer> answers{Answer(200), Answer().dropped()};
        const std::string requests = "HEAD /a/ 200, " + request + " 0, " + request + " 0";
        check({run, answers, "CUT_OFF, CUT_OFF", requests, "the connection", "a/"});
    }
}

TEST(WeblnkWriting, aMultistatusTellsWhatFailed) {
    const auto saying = [](const std::string& statuses) {
        return Answer::xml(207, "<multistatus xmlns='DAV:'>" + statuses + "</multistatus>");
    };
    const auto status = [](const std::string& line) {
        return "<response><status>HTTP/1.1 " + line + "</status></response>";
    };
    const std::string dependent = status("424 Failed Dependency"), made = status("201 Created");
    checkAll({
        {moving, {saying(status("412 Taken"))}, "412", "MOVE /a http://h/b F 207"},
        {moving, {saying(dependent)}, "424", "MOVE /a http://h/b F 207"},
        {removing, {saying(dependent + made + status("403 No"))}, "403", "DELETE /a 207"},
        {removing, {saying(made)}, "207", "DELETE /a 207"},
        {removing, {saying("<response><href>/a</href></response>")}, "207", "DELETE /a 207"},
        {removing, {saying("<response>")}, "BAD_ANSWER", "DELETE /a 207", "XML"},
        {removing, {saying(status("403 No"))}, "207", "DELETE /a/ infinity 207", "", "a/"},
        // Not a tree in place of a member.
        {removing, {moved(307, "/b/")}, "307", "DELETE /a 307"},
        {removing, {moved(307), done}, "204", "DELETE /a 307, DELETE /b 204"},
        {movingUp, {done}, "BAD_URL", "", "are no names"},
    });
}

TEST(WeblnkWriting, collectionsAreMadeMovedAndDeletedAsSuch) {
    const auto run = [](Driven& driven) {
        const std::string url = driven.url;
        driven.at(url + "/c").makeCollection();
        driven.at(url + "/c/").remove();
        driven.move("http://u:p@h/n#\u00E4 1/");
        driven.at(url).remove();
        driven.takeLock(90);
        driven.remove();
        return driven.move("http://h/d/%41?");
    };
    check({run,
           {Answer(201), done, Answer(201), moved(301, "/a/"), granted("Infinite"), done,
            Answer(201)},
           "201",
           "MKCOL /a/c/ 201, DELETE /a/c/ infinity 204, "
           "MOVE /a/c/ infinity http://h/n%23%C3%A4%201/ F 201, DELETE /a 301, "
           "LOCK /a 0 Second-90 200, DELETE /a <URL/a> (<urn:t:1>) 204, "
           "MOVE /a http://h/d/%41%3F F <URL/a> (<urn:t:1>) 201"});
}

TEST(WeblnkLock, theTokenComesFromHeaderOrBody) {
    const std::string asked = ", PROPFIND /a 0 ", lost = lock + "0" + asked + "404";
    const std::string none = "without a lock token", left = "a lock of ours: URL/a urn:t:9\n";
    const Answer found = Answer::xml(207, lockAnswer("Infinite", "urn:t:9", ""));
    const Answer bare = Answer::xml(201, lockAnswer("Infinite", " urn:t:2 "));
    const Answer header = Answer(200).with("Lock-Token", "<urn:t:3>");
    const Answer unlocked =
        Answer::xml(207,
                    "<multistatus xmlns='DAV:'><response><propstat><prop><lockdiscovery/></prop>"
                    "</propstat></response></multistatus>");
    const Answer tokenless = Answer::xml(200, lockAnswer("9", "")), torn = Answer::xml(207, "<x");
    const std::string looked = lock + "200" + asked + "200";
    checkAll({
        {locking, {granted("9"), done}, "200 lock, 204", lock + "200, UNLOCK /a <urn:t:1> 204"},
        {locking, {bare, done}, "201 lock, 204", lock + "201, UNLOCK /a <urn:t:2> 204"},
        {locking, {header, done}, "200 lock, 204", lock + "200, UNLOCK /a <urn:t:3> 204"},
        {locking, {tokenless}, "200", looked, none},
        {locking, {Answer::xml(200, "<prop")}, "200", looked, none},
        {locking, {torn, found}, "-1", lock + "207" + asked + "207", left},
        {locking, {Answer(200), found}, "200", lock + "200" + asked + "207", left},
        {locking, {Answer(403)}, "403", lock + "403"},
        {sharing, {bare}, "201", lock + "201" + asked + "201", none},  // somebody else's
        {locking, {Answer().dropped(), Answer(404)}, "-1", lost, "the connection"},
        {locking,
         {Answer().dropped(), unlocked, granted("9"), done},
         "200 lock, 204",
         lock + "0" + asked + "207, " + lock + "200, UNLOCK /a <urn:t:1> 204"},
    });

    support::ScriptedServer server;
    server.on("LOCK", "/a", granted("Infinite"));
    Driven().at(server.url("a")).takeLock();
    const std::string body = server.requests().at(0).body;
    EXPECT_NE(body.find("<D:exclusive/>"), std::string::npos);
    EXPECT_NE(body.find("<D:owner>ZEB &lt;1&gt; &amp; co</D:owner>"), std::string::npos);
}

TEST(WeblnkLock, aLockNearItsEndIsRenewedBeforeTheNextRequest) {
    const auto run = [](Driven& driven) {
        driven.takeLock();
        driven.head();
        driven.head();
        driven.lock.reset();
        return driven.head();
    };
    const std::string renewal = "LOCK /a Second-0 (<urn:t:1>) ",
                      heads = ", HEAD /a 200, HEAD /a 200, HEAD /a 200";
    const std::pair<Answer, const char*> rows[] = {{Answer(412), "412"},  // which stops nothing
                                                   {Answer().dropped(), "0"},
                                                   {Answer(200), "200"},
                                                   {granted("Second-0"), "200"},
                                                   {granted("Second-600"), "200"}};
    for (const auto& [answer, status] : rows) {
        const std::vector<Answer> answers{granted("Second-0"), answer, Answer(200)};
        check({run, answers, "200", lock + "200, " + renewal + status + heads});
    }
}

TEST(WeblnkLock, whoHoldsItIsTold) {
    const Answer html(423, "<html>"), held = Answer::xml(207, lockAnswer("Infinite"));
    const Answer timed = Answer::xml(423, lockAnswer("Second-60"));
    const std::string told = "URL/a: locked by ada & co, until it is given back.\n",
                      today = "until 2", leftOver = "a lock of earlier: URL/a urn:t:1\n";
    const auto removingAsCo = [](Driven& driven) {
        driven.user = "co";
        return driven.at(driven.url).remove();
    };
    checkAll({
        {locking, {html, held}, "423", lock + "423, PROPFIND /a 0 207", told},
        {putting(1), {timed}, "423", "PUT /a 423", today},
        {removing, {html, held}, "423", "DELETE /a 423, PROPFIND /a 0 207", told},
        {moving, {html, held}, "423", "MOVE /a http://h/b F 423, PROPFIND /a 0 207", told},
        {removingAsCo, {timed}, "423", "DELETE /a 423", leftOver},
    });
}

TEST(WeblnkJournal, ofTheOperationIsToldWhereThereIsOne) {
    support::ScriptedServer server;
    server.on("PUT", "/a", Answer::xml(423, lockAnswer("Second-60")));
    server.on("GET", "/a", Answer(404));
    vxhost::UserJournal running;
    Driven driven;
    driven.at(server.url("a")).running = &running;
    driven.put("x");
    driven.get();
    EXPECT_EQ(running.sentences().size(), 2u);
    EXPECT_EQ(driven.sentences(), "");
}

// By its token, when it may be ours: the server kept no owner, or this one.
TEST(WeblnkLock, aLockWhoseAnswerWasLostIsNamed) {
    const std::pair<const char*, bool> rows[] = {{"<owner> ZEB &lt;1&gt;\n&amp; co</owner>", true},
                                                 {"", true},
                                                 {"<owner>ada</owner>", false}};
    for (const std::string status : {"-1", "504", "408", "412", "429"}) {
        const bool cut = status == "-1";
        const Answer loss = cut ? Answer().dropped() : Answer(std::stoi(status));
        for (const auto& [owner, named] : rows) {
            const Answer found = Answer::xml(207, lockAnswer("Infinite", "urn:t:9", owner));
            const std::string requests = lock + (cut ? "0" : status) + ", PROPFIND /a 0 207",
                              command = "a lock of ours: URL/a urn:t:9\n";
            const std::string said = named ? command : cut ? "the connection" : "";
            const std::string told = check({locking, {loss, found}, status, requests, said});
            EXPECT_EQ(told.find(command) != told.npos, named) << told;
        }
    }
}

TEST(WeblnkLock, aLockThatIsLeftIsNamed) {
    const auto run = [](Driven& driven) {
        driven.takeLock(0, "urn:t:9");
        std::string first = driven.unlock();
        driven.interrupted = true;  // what is held is given back all the same
        return first + ", " + driven.unlock();
    };
    const Answer lost = Answer().dropped();
    const Answer same = Answer::xml(207, lockAnswer("Infinite", "urn:t:9"));
    const Answer another = Answer::xml(207, lockAnswer("Infinite", "urn:another"));
    const std::string unlock = "UNLOCK /a <urn:t:9> ", again = ", UNLOCK /a <urn:t:9> 204";
    const std::string gone = "409, PROPFIND /a 0 207", unseen = "409, PROPFIND /a 0 500";
    const std::string looked = "403, PROPFIND /a 0 207",
                      command = "a lock of ours: URL/a urn:t:9\n";
    checkAll({
        {run, {done}, "204, 204", unlock + "204" + again},
        {run, {Answer(409), another, done}, "409, 204", unlock + gone + again},
        {run, {Answer(409), Answer(500), done}, "409, 204", unlock + unseen + again},
        {run, {Answer(409), same, done}, "80FFD010 409, 204", unlock + gone + again, command},
        {run, {Answer(403), same, done}, "403, 204", unlock + looked + again, command},
        {run, {Answer(403), another, done}, "403, 204", unlock + looked + again},
        {run, {lost, done}, "204, 204", unlock + "0" + again + again},
        {run, {lost, lost, done}, "CUT_OFF, 204", unlock + "0, " + unlock + "0" + again, command},
    });
}

// A PUT refused with 412 makes the holder give up the lock, which is in the way of the next one, or
// stays beside it; one that was adopted is as much in doubt. A lock that was left is left alone.
TEST(WeblnkLock, aForsakenLockIsGivenBackForTheNextOne) {
    const auto run = [](bool shared, const char* adopted, bool refused) {
        return [=](Driven& driven) {
            driven.sharesLock = shared;
            driven.takeLock(0, adopted);
            if (refused) driven.put("");
            driven.lock.reset();
            const std::string taken = driven.takeLock(0, adopted);
            driven.head();  // neither is renewed: the new one's timeout is not another's
            return taken;
        };
    };
    const Answer ours = Answer::xml(200, "<all>" + lockAnswer("Second-0", "urn:another") +
                                             lockAnswer("Second-600") + "</all>")
                            .with("Lock-Token", "<urn:t:1>");
    const Answer first = granted("Infinite"), locked(423), refusal(412), ok(200);
    const std::string got = lock + "200, ", put = "PUT /a (<urn:t:1>) 412, ",
                      unlock = "UNLOCK /a <urn:t:1> 204, ", head = "HEAD /a 200",
                      inTheWay = lock + "423, " + unlock;
    const auto owning = run(false, "", true), beside = run(true, "", true),
               adopting = run(false, "urn:t:1", true), leaving = run(false, "urn:t:1", false);
    const std::string held = "200 lock";
    checkAll({
        {owning, {first, refusal, locked, done, ours, ok}, held, got + put + inTheWay + got + head},
        {owning, {first, refusal, ours, ok}, held, got + put + got + head},
        {beside, {first, refusal, ours, done, ok}, held, got + put + got + unlock + head},
        {adopting, {refusal, locked, done, ours, ok}, held, put + inTheWay + got + head},
        {leaving, {ok}, held, head},
    });
}

}  // namespace
}  // namespace weblnk_test
