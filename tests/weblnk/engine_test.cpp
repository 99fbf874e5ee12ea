// Requests that are sent before they are asked for, answers that are given again, and transfers
// that go on after a cut.
#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

#include "platform/base/logger.hpp"
#include "platform/http/engine.hpp"
#include "platform/http/pace.hpp"
#include "platform/http/upload_source.hpp"
#include "platform/weblnk/expecting.hpp"
#include "platform/weblnk/requests.hpp"
#include "platform/weblnk/resuming.hpp"
#include "tests/support/apache.hpp"
#include "tests/support/certificate.hpp"
#include "tests/support/files.hpp"
#include "tests/support/temporary_directory.hpp"
#include "tests/weblnk/driven.hpp"

using support::Answer;
using support::Request;
using support::ScriptedServer;
using vxhost::Expecting;
using vxhost::SafeCall;

namespace weblnk_test {
namespace {

const Answer granted = Answer::xml(200, "<prop xmlns='DAV:'/>").with("Lock-Token", "<urn:t:1>");

long count(const ScriptedServer& server, const std::string& method, bool answered = false) {
    const auto all = server.requests();
    return std::ranges::count_if(all, [&](const Request& request) {
        return request.method == method && (!answered || request.answered > 0);
    });
}

TEST(WeblnkEngine, anExpectedAnswerServesOneCallAndNoneAfterAChange) {
    using Run = std::function<void(Driven&)>;
    const std::pair<Run, std::string> rows[] = {
        // what is between the expectation and its GET
        {[](Driven& driven) { driven.head(); }, "old"},
        {[](Driven& driven) { EXPECT_EQ(driven.get(), "200 [old]"); }, "new"},
        {[](Driven& driven) { driven.put("x"); }, "new"},
        {[](Driven& driven) { driven.remove(); }, "new"},
        {[](Driven& driven) { driven.move("http://h/b"); }, "new"},
        {[](Driven& driven) { driven.makeCollection(); }, "new"},
        {[](Driven& driven) { EXPECT_EQ(driven.takeLock(), "200 lock"); }, "new"},
        {[](Driven& driven) { driven.at(driven.url).user = "ann"; }, "new"},
    };
    for (const auto& [between, content] : rows) {
        ScriptedServer server;
        server.on("*", "*", Answer(204)).on("LOCK", "*", granted);
        server.inTurn("GET", "*", {Answer(200, "old"), Answer(200, "new")});
        const std::string url = server.url("a");
        Driven driven;
        const Expecting expecting({{SafeCall::options, url}, {SafeCall::get, url}});
        EXPECT_EQ(driven.at(url).options(), "204");
        EXPECT_TRUE(support::eventually([&] { return count(server, "GET", true) == 1; }));
        between(driven);
        if (driven.user.empty()) {
            EXPECT_EQ(driven.get(), "200 [" + content + "]");
        } else {
            EXPECT_EQ(driven.at(url).get(), "200 [" + content + "]");
        }
        EXPECT_EQ(count(server, "OPTIONS"), 1);
    }
}

// The body of what nobody asked for yet is not taken whole, and is whole in the end.
TEST(WeblnkEngine, whatFollowsALockIsNotAskedForBefore) {
    const std::string large = pattern(3 << 20);
    ScriptedServer server;
    server.on("*", "*", Answer(204)).on("LOCK", "*", granted).on("GET", "*", Answer(200, large));
    const std::string url = server.url("a");
    Driven driven;
    const Expecting expecting({{SafeCall::head, url}},
                              {{SafeCall::options, url}, {SafeCall::get, url}});
    driven.at(url).head();
    EXPECT_EQ(driven.takeLock(), "200 lock");
    driven.options();
    EXPECT_TRUE(support::eventually([&] { return count(server, "GET") == 1; })) << "but then";
    EXPECT_EQ(driven.get(), "200 [" + large + "]");
    const auto all = server.requests();
    ASSERT_EQ(all.size(), 4u);
    EXPECT_EQ(all[0].method + all[1].method, "HEADLOCK");

    const Expecting again({{SafeCall::get, url}});
    driven.at(url).head();
    EXPECT_TRUE(support::eventually([&] { return count(server, "GET") == 2; }));
    driven.list();  // what has arrived is taken in
    driven.piecesTaken = 1;
    const std::string got = driven.get();
    EXPECT_EQ(std::ranges::count(got, '!'), 1) << "no more comes behind what was refused";
}

// One that serves a connection at a time leaves the second one waiting for the end of the first.
TEST(WeblnkEngine, aServerThatServesOneConnectionAtATimeIsAskedInTurn) {
    ScriptedServer server;
    server.on("*", "*", Answer(200, "x"));
    server.inTurn("HEAD", "*", {Answer().dropped().stalledAfter(0), Answer(200)});
    const std::string url = server.url("a");
    Driven driven;
    const Expecting expecting({{SafeCall::get, url}, {SafeCall::head, url}});
    EXPECT_EQ(driven.at(url).head(), "200");
    EXPECT_EQ(driven.get(), "200 [x]");
}

// However a server serves what comes at the same time, each call gets its own answer.
TEST(WeblnkEngine, theOrderOfAServersAnswersIsItsOwn) {
    const std::string content = pattern(3 << 20);
    const std::function<void(ScriptedServer&)> rows[] = {
        [](ScriptedServer& server) {  // the last question first
            server.on("HEAD", "*", Answer().madeBy([&server](const Request&) {
                support::eventually([&] { return count(server, "GET", true) == 1; });
                return std::string("HTTP/1.1 200 OK\r\n\r\n");
            }));
        },
        [](ScriptedServer& server) { server.serveAtOnce(2); },
        [&](ScriptedServer& server) {  // each nonce serves once
            server.on("*", "*", [&, n = 0](const Request& request) mutable {
                const auto nonce = "nonce=\"" + std::to_string(n) + '"';
                const auto given = request.field("Authorization");
                if (given.find(nonce) != given.npos && ++n) return Answer(200, content);
                return Answer(401).with("WWW-Authenticate", "Digest realm=\"r\", " + nonce);
            });
        }};
    for (const auto& row : rows) {
        ScriptedServer server;
        server.on("*", "*", Answer(200, content));
        row(server);
        const std::string url = server.url("a");
        Driven driven(&row == std::end(rows) - 1 ? "u" : "", "p");
        const Expecting expecting(
            {{SafeCall::head, url}, {SafeCall::options, url}, {SafeCall::get, url}});
        EXPECT_EQ(driven.at(url).head(), "200");
        EXPECT_EQ(driven.options(), "200");
        EXPECT_TRUE(driven.get() == "200 [" + content + "]") << &row - rows;
    }
}

// A busy server is busy for all, and small contents count as large ones do.
TEST(WeblnkEngine, theWholeProcessKeepsToOnePace) {
    const auto pace = vxhost::Pace::of("http://h");
    const vxhost::Pace::Clock::time_point now{}, later = now + std::chrono::seconds(2);
    EXPECT_TRUE(pace->beginsNext(now) && pace->beginsNext(now));
    pace->noteBusy(now, later);
    const auto again = vxhost::Pace::of("http://h");
    EXPECT_FALSE(again->beginsNext(now));
    EXPECT_TRUE(again->beginsNext(later));
    EXPECT_FALSE(pace->beginsNext(later));
    for (int i = 0; i < 100; ++i) pace->noteAnswer();
    EXPECT_TRUE(pace->beginsNext(later + std::chrono::seconds(1)));
    EXPECT_TRUE(pace->beginsNext(later + std::chrono::seconds(1)));

    vxhost::SpeedLimit limit;
    for (int i = 0; i < 4; ++i) limit.noteMoved(now, 500, 1000);
    EXPECT_EQ(limit.notBefore(), later);
}

TEST(WeblnkEngine, answersAreGivenAgainForAMoment) {
    ScriptedServer server;
    server.on("*", "*", Answer(200)).on("LOCK", "*", granted);
    Driven driven;
    driven.at(server.url("a"));
    const auto look = [&] {
        driven.options();
        driven.head();
        return std::pair(count(server, "OPTIONS"), count(server, "HEAD"));
    };
    EXPECT_EQ(look(), std::pair(1l, 1l));
    EXPECT_EQ(look(), std::pair(1l, 1l));
    driven.get();
    EXPECT_EQ(look(), std::pair(1l, 2l));  // what was fetched is compared with what HEAD says
    driven.put("x");
    EXPECT_EQ(look(), std::pair(2l, 3l));
    driven.at(server.url("b")).head();
    driven.at(server.url("a"));
    server.on("HEAD", "/b", Answer(404));
    EXPECT_EQ(driven.at(server.url("b")).head(), "404");
    driven.at(server.url("a")).options();
    EXPECT_EQ(count(server, "OPTIONS"), 3);
}

Answer version(const std::string& tag, int status = 200,
               const std::string& content = "0123456789") {
    return Answer(status, content)
        .with("ETag", tag)
        .with("Date", "Mon, 06 Jan 2025 10:20:30 GMT")
        .with("Last-Modified", "Mon, 06 Jan 2025 10:19:30 GMT");
}

TEST(WeblnkEngine, aFetchGoesOnBehindWhatCame) {
    constexpr auto get = &Driven::get;
    const Answer strong = version("\"1\""), cut = Answer(strong).truncatedAfter(4);
    const auto rest = [](const std::string& range, const std::string& content) {
        return version("\"1\"", 206, content).with("Content-Range", range);
    };
    const Answer another = version("\"2\"", 206, "456789").with("Content-Range", "bytes 4-9/10");
    const std::string first = "GET /a 200, ", on = "GET /a bytes=4- \"1\" ",
                      whole = "200 [0123456789]", part = "CUT_OFF [0123";
    // What an earlier fetch had counts, too, for what is known of the member.
    const support::TemporaryDirectory folder;
    support::writeFile(folder / "part", "0123");
    const auto resumingThenStoring = [&](Driven& driven) {
        std::string got;
        {
            const vxhost::Resuming resuming(folder / "part", 4, "\"1\"");
            got = driven.get();
        }
        driven.head();
        return got + ", " + driven.put("0", {vx::PUT_IF_UNCHANGED, 0, 0});
    };
    checkAll({
        {resumingThenStoring,
         {rest("bytes 4-9/10", "456789"), strong, Answer(204)},
         whole + ", 204",
         on.substr(0, on.size() - 1) + " 206, HEAD /a 200, PUT /a \"1\" [0] 204"},
        {get, {cut, rest("bytes 4-9/10", "456789")}, whole, first + on + "206"},
        {get,
         {cut, rest("bytes 4-9/10", "456789").truncatedAfter(2), rest("bytes 6-9/10", "6789")},
         whole,
         first + on + "206, GET /a bytes=6- \"1\" 206"},
        {get,
         {cut, rest("bytes 4-5/10", "45")},
         "CUT_OFF 200 [012345",
         first + on + "206",
         "6 bytes"},
        {get, {cut, rest("bytes 3-9/10", "3456789")}, part, first + on + "206", "behind them"},
        {get, {cut, rest("bytes 4-9/11", "456789")}, part, first + on + "206", "behind them"},
        {get, {cut, version("\"2\"")}, part, first + on + "200", "behind them"},
        {get, {cut, another}, part, first + on + "206", "behind them"},
        {get, {cut, Answer(416)}, "CUT_OFF [0123", first + on + "416", "no more now"},
        {get, {version("W/\"1\"").truncatedAfter(4)}, part, "GET /a 200", "cut off"},
        {get,
         {Answer(200, "0123456789").with("ETag", "\"1\"").truncatedAfter(4)},
         part,
         "GET /a 200",
         "cut off"},
    });
}

std::string locks(const std::string& active) {
    return "<multistatus xmlns='DAV:'><response><propstat><prop><lockdiscovery>" + active +
           "</lockdiscovery></prop></propstat></response></multistatus>";
}

TEST(WeblnkEngine, aStoreThatWasCutOffUnderALockIsFoundOrRepeated) {
    const auto storing = [](Driven& driven) {
        if (driven.takeLock() != "200 lock") return std::string("no lock");
        return driven.put("0123456789");
    };
    const auto storingOver = [=](Driven& driven) {
        driven.get();
        return storing(driven);
    };
    const Answer lost = Answer().dropped(), old = version("\"1\"", 200, "old"), done(204),
                 ours = version("\"2\""), theirs = version("\"2\"", 200, "theirs"),
                 held = Answer::xml(207, locks("<activelock><locktoken><href>urn:t:1</href>"
                                               "</locktoken></activelock>")),
                 gone = Answer::xml(207, locks(""));
    const std::string lock = "LOCK /a 0 Second-7200 200, ", bare = "PUT /a (<urn:t:1>) [10] ",
                      put = "PUT /a (<urn:t:1> [\"1\"]) [10] ", look = "0, PROPFIND /a 0 207",
                      first = lock + bare + look, over = "GET /a 200, " + lock + put + look,
                      head = ", HEAD /a 200", get = ", GET /a 200";
    checkAll({
        {storing, {granted, lost, held, done}, "204", first + ", " + bare + "204"},
        {storing, {granted, lost, gone, ours}, "204", first + get},
        {storing, {granted, lost, gone, theirs}, "412", first + get},
        {storing,
         {granted, lost, Answer(404), theirs},
         "CUT_OFF",
         lock + bare + "0, PROPFIND /a 0 404" + get,
         "the connection"},
        {storingOver,
         {old, granted, lost, held, old, done},
         "204",
         over + head + ", " + put + "204"},
        {storingOver, {old, granted, lost, held, ours}, "204", over + head + get},
        {storingOver, {old, granted, lost, held, theirs}, "412", over + head + get},
        {storingOver, {old, granted, lost, gone, theirs}, "412", over + get},
    });
}

TEST(WeblnkEngine, speaksBothProtocols) {
    const support::Apache server({.tls = true, .http2 = true});
    Driven driven;
    driven.settings.caFile = support::certificate().file;
    std::vector<std::string> lines;
    const auto log = [&](uint32_t, auto, auto text) { lines.emplace_back(text); };
    vxhost::configureLogging({vxhost::LOG_WIRE, log});
    const auto versions = [&] {
        std::string all;

        for (const std::string& line : std::exchange(lines, {}))
            if (line.starts_with("< HTTP/") && line.find(" 100 ") == line.npos)
                all += line.substr(7, line.find(' ', 7) - 6);
        return all;
    };
    driven.at(server.url("a"));
    for (const auto& [size, protocols] : {std::pair(1000, "2 2 "), std::pair(1 << 20, "1.1 2 ")}) {
        const std::string content = pattern(static_cast<size_t>(size));
        driven.put(content);
        EXPECT_EQ(driven.get(), "200 [" + content + "]");
        EXPECT_EQ(versions(), protocols);
        // A body that nobody asked for yet holds up no other answer.
        const Expecting expecting({{SafeCall::options, driven.url}, {SafeCall::get, driven.url}});
        driven.at(driven.url).options();
        EXPECT_EQ(driven.head(), "200");
        EXPECT_EQ(driven.get(), "200 [" + content + "]");
        lines.clear();
    }
    vxhost::configureLogging({});
    // The refusal comes with the end of the stream, while the body is on its way.
    driven.at(server.url("missing/a"));
    for (int times = 0; times < 8; ++times) EXPECT_EQ(driven.put(pattern(200'000)), "409");
}

// Waits in its middle until it is told to go on.
class HeldUpload final : public vxhost::UploadSource {
public:
    std::optional<uint64_t> length() const override { return bytes.size(); }
    size_t read(char* to, size_t room) override {
        const size_t size = bytes.copy(to, room, position_);
        position_ += size;
        return size;
    }
    void rewind() override { position_ = 0; }
    void measure() override { position_ = 0; }
    bool hasFailed() const override { return false; }
    bool finished() const override { return position_ == bytes.size(); }
    bool mustWait() override { return isHeld && position_ > bytes.size() / 2; }

    const std::string bytes = pattern(3 << 20);
    bool isHeld = true;

private:
    size_t position_ = 0;
};

// Of a connection that is older than the one that the others share.
TEST(WeblnkEngine, noOtherRequestGoesIntoAnUpload) {
    const support::Apache server({.tls = true, .http2 = true});
    server.addMember("small", "content");
    vxhost::Settings settings;
    settings.caFile = support::certificate().file;
    settings.stallTimeout = std::chrono::seconds(5);
    const vxhost::Sender sender{settings, std::make_shared<vxhost::Credentials>(), nullptr,
                                nullptr};
    vxhost::Engine engine(settings);
    std::vector<std::string> ends;
    const auto submit = [&](vxhost::Request request) {
        engine.submit(sender, std::move(request), [&](vxhost::Answer answer, std::exception_ptr) {
            ends.push_back(std::to_string(answer.status) + answer.text);
        });
    };
    HeldUpload upload;
    vxhost::Request put;
    put.method = "PUT";
    put.url = server.url("large");
    put.upload = &upload;
    submit(put);
    for (size_t ended = 1; ended < 4; ++ended) {
        submit(vxhost::propertyRequest(server.url("small"), "resourcetype"));
        while (ends.size() < ended && engine.advance()) continue;
        ASSERT_TRUE(ends.back().starts_with("207")) << ends.back();
    }
    upload.isHeld = false;
    while (engine.advance()) continue;
    EXPECT_TRUE(ends.back().starts_with("201")) << ends.back();
    EXPECT_EQ(support::readFile(server.documentRoot() / "large"), upload.bytes);
}

}  // namespace
}  // namespace weblnk_test
