// get -r and put -r: what moves, what stays, and what nobody may overwrite.
#include <fmt/format.h>

#include <thread>

#include "tests/cli/program.hpp"
#include "tests/support/certificate.hpp"
#include "tests/support/scripted_server.hpp"

namespace quillon::cli {
namespace {

namespace fs = std::filesystem;
using support::Answer;

const std::string awkward[] = {"a b%[x]*\xC3\xBC.txt", "dots..", "q?#.txt", "empty", "%41"};

// Of a tree, as "path=content" or "path/".
Names tree(const fs::path& root) {
    Names found;
    std::error_code none;
    for (const auto& entry : fs::recursive_directory_iterator(root, none)) {
        const std::string path = entry.path().lexically_relative(root);
        if (path.find(".DAV") != path.npos) continue;
        found.insert(entry.is_directory() ? path + "/"
                                          : path + "=" + support::readFile(entry.path()));
    }
    return found;
}

class Trees : public ProgramTest {
protected:
    Trees() {
        fs::create_directories(work / "up/sub/none");
        for (const std::string& name : awkward) {
            writeFile(work / ("up/" + name), name == "empty" ? "" : name);
        }
        writeFile(work / "up/sub/f", "first");
        whole = tree(work / "up");
    }
    void put(int exitCode, Arguments more = {}) const { run("put", "up", url, exitCode, more); }
    void get(int exitCode, Arguments more = {}) const {
        run("get", url + "up/", {}, exitCode, more);
    }

    const Apache server;
    const std::string url = server.url();
    const std::string f = "up/sub/f";
    Names whole;

private:
    void run(const char* verb, const std::string& from, const std::string& to, int exitCode,
             const Arguments& more) const {
        Arguments line{verb, "-r", from};
        if (!to.empty()) line.push_back(to);
        line.insert(line.end(), more.begin(), more.end());
        const support::Outcome outcome = quillon(line);
        EXPECT_EQ(outcome.exitCode, exitCode) << outcome.output << outcome.errors;
        EXPECT_EQ(lockTokens(server), Arguments{});
    }
};

TEST_F(Trees, goUpAndDownAndNothingMovesTwice) {
    fs::create_symlink("/etc/passwd", work / "up/link");
    put(0, {"--dry-run"});
    EXPECT_EQ(tree(server.documentRoot() / "up"), Names{});
    put(0);
    EXPECT_EQ(tree(server.documentRoot() / "up"), whole);
    const std::string walk =  // and the look for locks of this test
        "PROPFIND /up/ 207\nPROPFIND /up/ 207\nPROPFIND /up/sub/ 207\n"
        "PROPFIND /up/sub/none/ 207\nPROPFIND / 207\n";
    server.clearTranscript();
    put(0);
    EXPECT_EQ(server.transcript(), walk);
    fs::rename(work / "up", work / "before");
    get(0);
    EXPECT_EQ(tree(work / "up"), whole);
    // What was fetched within the second of its change could be another version by now.
    std::this_thread::sleep_for(std::chrono::seconds(2));
    get(0);
    server.clearTranscript();
    get(0);
    EXPECT_EQ(server.transcript(), walk.substr(walk.find('\n') + 1));
    tells({"get", "-r", "--json", "--tell-same", url + "up/"}, 0,
          {R"({"event":"the same","path":"sub/f",)"});
    put(0, {"-x", "sub/", "-i", "*.txt", "--all"});
}

// Many at a time share a connection, and a handle moves a small one after a large one.
TEST_F(Trees, goOverOneConnectionWhateverTheirSizes) {
    const Apache both({.tls = true, .http2 = true});
    const Arguments trust{"--ca-file", support::certificate().file};
    for (int i = 0; i < 60; ++i)
        writeFile(work / fmt::format("up/{}", i), std::string(i % 3 * 60'000 + 1, 'x'));
    expect({{joined({"put", "-r", "up", both.url()}, trust), 0, ""}});
    whole = tree(work / "up");
    fs::remove_all(work / "up");
    expect({{joined({"get", "-r", both.url("up/")}, trust), 0, ""}});
    EXPECT_EQ(tree(work / "up"), whole);
}

TEST_F(Trees, nobodysChangeIsOverwritten) {
    put(0);
    // Theirs, where ours is as it was, and where both changed.
    server.addMember(f, "theirs, longer");
    put(6);
    writeFile(work / f, "ours");
    put(6);
    get(6);
    EXPECT_EQ(content(server, f), "theirs, longer");
    EXPECT_EQ(support::readFile(work / f), "ours");
    put(0, {"--force"});
    EXPECT_EQ(content(server, f), "ours");
    // Ours alone goes up under a lock, with the tag that is known from there.
    writeFile(work / f, "ours again");
    put(0);
    EXPECT_EQ(content(server, f), "ours again");
    // Theirs alone comes down; the same on both sides is no conflict.
    server.addMember(f, "theirs anew");
    get(0);
    EXPECT_EQ(support::readFile(work / f), "theirs anew");
    server.addMember(f, "the same here");
    writeFile(work / f, "the same here");
    put(0);
    server.addMember(f, "another same");
    writeFile(work / f, "another same");
    get(0);
    writeFile(work / f, "mine");
    get(6);
    // An edit of the member is as anybody's: what is known of the file stays.
    editWith("printf edited >\"$1\"");
    expect({{{"edit", url + f}, 0, ""}});
    put(6);
    get(6);
    EXPECT_EQ(content(server, f), "edited");
    server.addMember(f, "the same here");
    get(0, {"--force"});
    EXPECT_EQ(support::readFile(work / f), "the same here");
    // One's own lock, and somebody's.
    const std::string token = quillon({"lock", url + f}).output;
    writeFile(work / f, "under a lock");
    EXPECT_EQ(quillon({"put", "-r", "up", url}).exitCode, 0);
    EXPECT_EQ(lockTokens(server, "", "/up/sub/").size(), 1u);
    fs::remove_all(home / "state/quillon/locks");
    writeFile(work / f, "locked out");
    const auto locked = quillon({"put", "-r", "up", url});
    EXPECT_EQ(locked.exitCode, 5) << locked.errors;
    EXPECT_EQ(content(server, f), "under a lock");
}

// Whenever they write. bench/races.py does this for longer, and on other servers.
TEST_F(Trees, aSecondWriterLosesNothing) {
    put(0);
    for (int round = 0; round < 30; ++round) {
        writeFile(work / f, fmt::format("ours {}", round));
        const std::string theirs = fmt::format("theirs, {}", round);
        std::string answer;
        std::thread rival([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(5 * round));
            answer = support::ask(server.port(), "PUT", "/" + f, "", theirs);
        });
        const int code = quillon({"put", "-r", "up", url}).exitCode;
        rival.join();
        const bool isStored = answer.find(" 204 ") != answer.npos;
        EXPECT_TRUE(code == 0 || code == 6) << code;
        EXPECT_TRUE(content(server, f) == theirs || !isStored) << answer;
        get(0, {"--force"});
    }
}

TEST_F(Trees, onlyWhatBothHadIsRemoved) {
    put(0);
    fs::remove(work / f);
    fs::remove(work / "up/empty");
    fs::remove(work / "up/sub/none");
    server.addMember("up/theirs", "new");
    server.addMember("up/empty", "changed since");
    put(0);
    EXPECT_EQ(content(server, f), "first");
    // What is here and cannot be stored is not what was removed.
    fs::remove(work / "up/dots..");
    fs::create_symlink("nowhere", work / "up/dots..");
    put(0, {"--delete"});
    EXPECT_EQ(content(server, "up/dots.."), "dots..");
    fs::remove(work / "up/dots..");
    EXPECT_FALSE(fs::exists(server.documentRoot() / f));
    EXPECT_EQ(content(server, "up/theirs") + content(server, "up/empty"), "newchanged since");
    get(0);
    writeFile(work / "up/mine", "never there");
    fs::remove(server.documentRoot() / "up/theirs");
    get(0, {"--delete"});
    EXPECT_FALSE(fs::exists(work / "up/theirs"));
    EXPECT_TRUE(fs::exists(work / "up/mine"));
    get(0, {"--delete-unknown"});  // there is nobody to ask
    EXPECT_TRUE(fs::exists(work / "up/mine"));
    get(0, {"--delete-unknown", "--yes"});
    EXPECT_FALSE(fs::exists(work / "up/mine"));
}

// What a server says of its members' names is data, and its trees may have no end.
TEST_F(Trees, hostileNamesStayInTheFolder) {
    support::ScriptedServer hostile;
    const auto response = [](const std::string& href, bool isCollection) {
        return fmt::format(
            "<D:response><D:href>{}</D:href><D:propstat><D:prop><D:resourcetype>{}"
            "</D:resourcetype></D:prop><D:status>HTTP/1.1 200 OK</D:status></D:propstat>"
            "</D:response>",
            href, isCollection ? "<D:collection/>" : "");
    };
    const auto list = [&](const std::string& members) {
        return Answer::xml(207, "<D:multistatus xmlns:D=\"DAV:\">" + members + "</D:multistatus>");
    };
    std::string members = response("/c/", true);
    for (const char* name : {"..", "%2e%2e", "..%2f..%2fout", "a%2Fb", "%00", "", "link/x", "~"}) {
        members += response(std::string("/c/") + name, false);
    }
    members += response("/elsewhere/inside", false) + response("/c/self/", true);
    hostile.on("PROPFIND", "/c/", list(members));
    hostile.on("PROPFIND", "/c/self/*", [&](const support::Request& request) {
        return list(response(request.target, true) + response(request.target + "self/", true));
    });
    hostile.on("GET", "/c/*", Answer(200, "theirs"));
    fs::create_directories(work / "in/c");
    fs::create_directory_symlink(work.path(), work / "in/c/link");
    const Names around = tree(home.path());
    const auto outcome = quillon({"get", "-r", hostile.url("c/"), "-O", "in"});
    EXPECT_EQ(outcome.exitCode, 1) << outcome.errors;  // what "link/x" is in is told nowhere
    EXPECT_NE(outcome.errors.find("too deep"), std::string::npos) << outcome.errors;
    for (const fs::path& outside : {work / "out", work / "x", work / "in/b", work / "in/inside"}) {
        EXPECT_FALSE(fs::exists(outside)) << outside;
    }
    EXPECT_EQ(support::readFile(work / "in/c/~"), "theirs");
    EXPECT_EQ(support::readFile(work / "in/c/inside"), "theirs");
    EXPECT_LT(hostile.requests().size(), 130u);
}

TEST_F(Trees, sayWhatIsMissing) {
    server.addMember("file", "x");
    expect({{{"get", "-r", url + "file"}, 3, "file is a file, not a collection"},
            {{"get", "-r", url + "none"}, 3, "no collection " + url + "none/"},
            {{"put", "-r", "up", url + "none/"}, 3, "mkcol -p"},
            {{"put", "-r", "none", url}, 8, "No such file"},
            {{"put", "up/sub/f", url, "-n"}, 2, "give -r"},
            {{"put", "-r", "up/sub", url + "none/", "-n"}, 3, "mkcol -p"},
            {{"get", url + "up/f", "--json"}, 2, "give -r"},
            {{"put", "-r", "up/sub", url, "-n"}, 0, "make /\nstore f\nmake none/\n"}});
}

// A content that breaks off leaves nothing, and the others come.
TEST_F(Trees, filesAreWholeOrNotThere) {
    put(0);
    fs::remove_all(work / "up");
    support::ScriptedServer broken;
    const std::string listed = support::ask(server.port(), "PROPFIND", "/up/sub/", "Depth: 1\r\n");
    const std::string body = listed.substr(listed.find("<?xml"));
    broken.on(
        "PROPFIND", "/up/sub/",
        Answer(207, body.substr(0, body.rfind('>') + 1)).with("Content-Type", "application/xml"));
    broken.on("PROPFIND", "/up/sub/none/", Answer(500));
    broken.on("GET", "/up/sub/f", Answer(200, "first").truncatedAfter(3));
    const auto outcome = quillon({"get", "-r", broken.url("up/sub/")});
    EXPECT_EQ(outcome.exitCode, 7) << outcome.errors;
    EXPECT_EQ(tree(work.path()), Names{"sub/"});
}

}  // namespace
}  // namespace quillon::cli
