// put -r and get -r on a server of few words, that keeps dates, alters what it stores, or stops to
// do what it was seen to do.
#include <fmt/chrono.h>
#include <fmt/format.h>

#include <map>

#include "client/facts/scratch_name.hpp"
#include "tests/cli/program.hpp"
#include "tests/support/scripted_server.hpp"

namespace quillon::cli {
namespace {

namespace fs = std::filesystem;
using support::Answer;
using support::Request;

const std::string heldToken = "opaquelocktoken:1";
// Of another machine, and of a process of this one that lives no more.
const std::string foreignScratch = "/c/t/.quillon-scratch-an-other-1-" + std::string(32, 'a');
const std::string leftScratch =
    "/c/t/" + std::regex_replace(scratchName(), std::regex("-[0-9]+-(?=[^-]*$)"), "-2147483647-");

class TreeServer : public ProgramTest {
protected:
    struct Member {
        std::string date{}, tag{};
        uint64_t size = 0;
    };

    TreeServer() {
        fs::create_directory(work / "t");
        writeFile(work / "t/f", "four");
        const auto modified = std::chrono::sys_seconds(std::chrono::seconds(981'173'106));
        fs::last_write_time(work / "t/f", std::chrono::file_clock::from_sys(modified));
        server.on("OPTIONS", "*", Answer(200).with("DAV", "1,2").with("Server", "few words"))
            .on("MKCOL", "*", Answer(201))
            .on("GET", "*", Answer(200, "x"))
            .on("LOCK", "*", [this](const auto&) { return lock(); })
            .on("UNLOCK", "*", [this](const auto&) { return unlock(); })
            .on("PUT", "*", [this](const Request& request) { return store(request); })
            .on("PROPFIND", "*", [this](const Request& request) { return list(request.target); })
            .on("PROPPATCH", "*",
                Answer().madeBy([this](const Request& request) { return setDate(request); }))
            .on("DELETE", "*", [this](const Request& request) {
                members.erase(request.target);
                locked = false;
                return Answer(204);
            });
    }

    Answer lock() {
        locked = true;
        return Answer(200).with("Lock-Token", "<" + heldToken + ">");
    }
    Answer unlock() {
        locked = false;
        return Answer(204);
    }
    static std::string dateOf(std::time_t time) {
        return fmt::format("{:%a, %d %b %Y %H:%M:%S} GMT", fmt::gmtime(time));
    }
    Answer store(const Request& request) {
        const bool isThere = members.contains(request.target);
        if (obeys && isThere && !request.field("If-None-Match").empty()) return Answer(412);
        if (!request.field("If-Match").empty()) return Answer(412);
        if (locked && request.field("If").find(heldToken) == std::string::npos) return Answer(423);
        Member& member = members[request.target];
        member.size = std::stoull(std::string(request.field("Content-Length"))) + addsBytes;
        member.tag = fmt::format("\"{}\"", ++stores);
        member.date.clear();
        const std::string told(request.field("X-OC-Mtime"));
        if (!told.empty() && !byProperty) {
            member.date = dateOf(std::stol(told));
        }
        return Answer(isThere ? 204 : 201).with("Date", dateOf(std::time(nullptr)));
    }
    std::string setDate(const Request& request) {
        static const std::regex value(">([^<>]+)</P:Win32LastModifiedTime>");
        std::smatch found;
        if (byProperty && std::regex_search(request.body, found, value))
            members[request.target].date = found[1];
        return "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n";
    }
    Answer list(const std::string& target) const {
        std::string told;
        const auto add = [&](const std::string& path, const Member& member) {
            told += fmt::format(
                "<response><href>{}</href><propstat><prop><resourcetype>{}</resourcetype>"
                "<getcontentlength>{}</getcontentlength><getlastmodified>{}</getlastmodified>"
                "<getetag>{}</getetag></prop><status>HTTP/1.1 200 OK</status></propstat>"
                "</response>",
                path, path.ends_with('/') ? "<collection/>" : "", member.size, member.date,
                member.tag);
        };
        if (target.ends_with('/')) add(target, {});
        for (const auto& [path, member] : members)
            if (path.starts_with(target)) add(path, member);
        if (told.empty()) return Answer(404);
        return Answer::xml(207, "<multistatus xmlns=\"DAV:\">" + told + more + "</multistatus>");
    }

    // And what it tells.
    std::string put(int exitCode, const Arguments& options = {}) {
        server.clearRequests();
        Arguments line{"put", "-r", "t", server.url("c/")};
        line.insert(line.end(), options.begin(), options.end());
        const auto outcome = quillon(line);
        EXPECT_EQ(outcome.exitCode, exitCode) << outcome.errors << server.transcript();
        EXPECT_FALSE(locked);
        return outcome.errors;
    }
    bool asked(const std::string& begin) const {
        return server.transcript().find(begin) != std::string::npos;
    }

    support::ScriptedServer server;
    std::map<std::string, Member> members;
    bool byProperty = false, obeys = true, locked = false;
    uint64_t addsBytes = 0;
    std::string more;  // responses of every listing
    int stores = 0;
};

TEST_F(TreeServer, keepsTheDatesOfFiles) {
    for (const bool way : {false, true}) {
        byProperty = way;
        fs::remove_all(home / "state");
        members.clear();
        put(0);
        EXPECT_EQ(members["/c/t/f"].date, "Sat, 03 Feb 2001 04:05:06 GMT") << way;
        EXPECT_EQ(members.size(), 1u);
        put(0, {"--no-memory"});  // by size and date alone
        EXPECT_FALSE(asked("PUT")) << server.transcript();
    }
}

TEST_F(TreeServer, isLearntAnewWhenItDoesOtherwise) {
    members[foreignScratch] = members[leftScratch] = {};
    put(0);
    EXPECT_TRUE(members.contains(foreignScratch));
    EXPECT_FALSE(members.contains(leftScratch));
    EXPECT_TRUE(asked("PUT /c/t/.quillon-scratch"));
    writeFile(work / "t/g", "new");
    put(0);
    EXPECT_FALSE(asked("PUT /c/t/.quillon-scratch"));
    // It is sent on to another place.
    server.on("OPTIONS", "/c/t/", Answer(307).with("Location", "/d/"));
    writeFile(work / "t/h", "new");
    put(0);
    EXPECT_TRUE(asked("PUT /c/t/.quillon-scratch"));
    // Something else answers in its place.
    const Answer page = Answer(200, "please log in").with("Content-Type", "Text/HTML");
    for (const char* content : {"made", "changed", "once"}) {
        server.on("PUT", "/c/t/j", page);
        writeFile(work / "t/j", content);
        EXPECT_NE(put(7).find("A page came for an answer"), std::string::npos) << content;
        server.on("PUT", "/c/t/j", [this](const Request& request) { return store(request); });
        server.on("GET", "/c/t/j", Answer(200, content));
        put(0);
    }
    // Somebody was first, and what the server had obeyed it obeys no more.
    server.on("PUT", "/c/t/i", Answer(204));
    writeFile(work / "t/i", "new");
    EXPECT_NE(put(7).find("their version is lost"), std::string::npos);
    server.on("PUT", "/c/t/i", [this](const Request& request) { return store(request); });
    put(0);
    EXPECT_TRUE(asked("PUT /c/t/.quillon-scratch"));
}

// Unless a second ends in between.
TEST_F(TreeServer, isSeenToGiveEachVersionATagOfItsOwn) {
    std::string facts;
    for (int again = 0; again < 5 && facts.find("tags-differ yes") == facts.npos; ++again) {
        fs::remove_all(home / "state");
        members.clear();
        put(0);
        for (const auto& each : fs::directory_iterator(home / "state/quillon/servers"))
            facts = support::readFile(each.path());
    }
    EXPECT_NE(facts.find("tags-differ yes"), std::string::npos) << facts;
}

// While one is held, no answer comes that would wake who waits for that.
TEST_F(TreeServer, isLookedAtWhileABodyIsHeld) {
    server.on("GET", "*", Answer(200, std::string(4096, 'a')));
    tells({"doctor", "--json", server.url("c/")}, 0, {R"("replacesAtOnce":true)"});
}

TEST_F(TreeServer, storesSomethingElseWhichIsToldOnce) {
    put(0);
    server.on("GET", "*", Answer(200, "four"));  // which no tag tells yet
    addsBytes = 1;
    writeFile(work / "t/f", "changed here");
    EXPECT_NE(put(0).find("stores something else"), std::string::npos);
    EXPECT_EQ(put(0).find("stores something else"), std::string::npos);
    EXPECT_FALSE(asked("PUT")) << server.transcript();
}

TEST_F(TreeServer, whatItCannotTellIsNotTakenForWhole) {
    const std::string refused =
        "<response><href>/c/t/x</href><status>HTTP/1.1 403 Forbidden</status></response>";
    const std::string unsized =
        "<response><href>/c/t/u</href><propstat><prop/><status>HTTP/1.1 200 OK</status>"
        "</propstat></response>";
    const std::string found = "<propstat><prop/><status>HTTP/1.1 200 OK</status></propstat>";
    const std::string deep = "<response><href>/c/t/x/y</href>" + found + "</response>";
    const Answer endless = Answer().replacedBy("HTTP/1.1 200 OK\r\n\r\npar");
    const struct {
        std::string more;
        Answer get;
        int exitCode;
        const char* told;
    } rows[] = {
        {"", Answer(200, "four"), 0, "1 fetched"},
        {refused, Answer(200, "four"), 1, "cannot read some of its members"},
        {deep, Answer(200, "four"), 1, "cannot read some of its members"},
        {unsized, endless, 7, "neither its length nor its size"},
        {"", Answer(200, "lies"), 0, "1 fetched"},
        {"", Answer(200, "short and long"), 7, "two sizes"},
    };
    members["/c/t/f"].size = 4;
    members[foreignScratch] = {};  // nobody's content
    for (const auto& row : rows) {
        fs::remove_all(work / "t");
        fs::create_directory(work / "t");
        writeFile(work / "t/.quillon-left", "");
        more = row.more;
        server.on("GET", "*", row.get);
        const auto outcome = quillon({"get", "-r", server.url("c/t/")});
        EXPECT_EQ(outcome.exitCode, row.exitCode) << outcome.errors;
        EXPECT_NE(outcome.errors.find(row.told), std::string::npos) << outcome.errors;
        EXPECT_NE(outcome.errors.find(".quillon-left"), std::string::npos) << outcome.errors;
        EXPECT_FALSE(fs::exists(work / "t/u"));
        EXPECT_EQ(fs::exists(work / "t/f"), row.exitCode < 7);
    }
    // A collection that is there alone is not entered, unless it may be removed.
    more =
        "<response><href>/c/t/self/</href><propstat><prop><resourcetype><collection/>"
        "</resourcetype></prop><status>HTTP/1.1 200 OK</status></propstat></response>";
    put(0);
    EXPECT_FALSE(asked("PROPFIND /c/t/self/"));
}

}  // namespace
}  // namespace quillon::cli
