// doctor, locks, check, prop, touch and open: against real servers and a hostile one.
#include <fmt/format.h>

#include <algorithm>

#include "tests/cli/program.hpp"
#include "tests/support/scripted_server.hpp"

namespace quillon::cli {
namespace {

namespace fs = std::filesystem;
using support::Answer;

const std::string awkward = "100% \xC3\x9C&[c] 'd'.txt";
const std::string awkwardSegment = "100%25%20%C3%9C%26%5Bc%5D%20%27d%27.txt";

bool contains(const std::string& text, std::string_view part) {
    return text.find(part) != text.npos;
}

class Asking : public ProgramTest {
protected:
    const Apache server;
    const std::string url = server.url();
    const std::string member = url + awkwardSegment;
};

TEST_F(Asking, aDoctorLeavesNothing) {
    tells({"doctor", "--json", url}, 0,
          {R"("locks":true)", R"("replacesBy":"lock")", R"("depthInfinity":false)"});
    EXPECT_LE(std::ranges::count(server.transcript(), '\n'), 25);
    expect({{{"ls", "-a", url}, 0, ""}});
    server.clearTranscript();
    tells({"doctor", "--no-write", url}, 0, {"not tried", "it says that it has them"});
    EXPECT_FALSE(contains(server.transcript(), "PUT"));
    const Apache lockless({.withoutLocks = true});
    tells({"doctor", lockless.url()}, 0, {"DavLockDB", "by the entity tag in If, which leaves"});
    server.addMember("f", "");
    tells({"doctor", url + "f"}, 3, {"is a file"});
    tells({"doctor", url + "no/"}, 3, {"no collection"});
    // Of a person's own: read only.
    support::ScriptedServer closed;
    closed.on("OPTIONS", "*", Answer(200).with("DAV", "1").with("Server", "x\x1B[2J"));
    closed.on("PUT", "*", Answer(403));
    closed.on("PROPFIND", "*",
              Answer::properties("/",
                                 "<resourcetype><collection/></resourcetype>"
                                 "<quota-available-bytes>1024</quota-available-bytes>"));
    tells({"doctor", closed.url()}, 0, {"no: The server answered 403", "1.0 KiB free", "x?[2J"});
}

TEST_F(Asking, locksAreShownAndTakenOff) {
    server.addMember(awkward, "old");
    const std::string token = quillon({"lock", member}).output;
    tells({"locks", url}, 0, {awkward, "someone, with quillon", "yours, kept", token});
    tells({"locks", "--json", member}, 0, {R"("mine":true,"running":false)"});
    server.addMember("free", "");
    tells({"ls", "--locks", url}, 0, {"\nfree\n", "  locked by someone, with quillon until 20"});
    const std::string locked = R"("locked":true,"holder":"someone, with quillon","until":"20)";
    tells({"ls", "--locks", "--json", url}, 0, {R"("locked":false)", locked});
    tells({"info", "--json", member}, 0, {locked, R"("mine":true)"});
    tells({"info", url + "free"}, 0, {"Locked:    no\n"});
    for (const char* who : {"ann", "bob"}) {
        support::ask(server.port(), "LOCK", "/free", "Depth: 0\r\n",
                     "<lockinfo xmlns=\"DAV:\"><lockscope><shared/></lockscope><locktype><write/>"
                     "</locktype><owner>" +
                         std::string(who) + "</owner></lockinfo>");
    }
    tells(
        {"info", "--json", url + "free"}, 0,
        {R"("locks":[{"holder":")", R"("holder":"ann")", R"("holder":"bob")", R"("shared":true)"});
    for (const std::string& each : lockTokens(server)) {
        if (each + "\n" != token) quillon({"unlock", url + "free", "--token", each});
    }
    server.clearTranscript();
    tells({"ls", "-l", url}, 0, {"free\n"});
    EXPECT_EQ(server.transcript().find("PROPFIND"), server.transcript().rfind("PROPFIND"));
    fs::remove_all(home / "state");  // now it is somebody else's
    tells({"info", "--json", member}, 0, {locked, R"("mine":false)"});
    tells({"unlock", "--mine", member}, 3, {"No lock of yours"});
    tells({"unlock", "--steal", member}, 2, {"--yes"});
    tells({"unlock", "--steal", "--yes", member}, 0, {});
    EXPECT_EQ(lockTokens(server), Arguments{});
    tells({"unlock", "--steal", "--yes", member}, 3, {"Nobody"});
    quillon({"lock", member});
    tells({"unlock", "--mine", url}, 0, {});
    EXPECT_EQ(lockTokens(server), Arguments{});
}

// The next command on the server gives back what guards no text.
TEST_F(Asking, whatAKilledProgramHeldIsGivenBack) {
    server.addMember(awkward, "old ");
    editWith("printf mine >> \"$1\"; echo editing; exec sleep 1000 >&- 2>&-");
    support::RunningProcess edit(command({"edit", member}));
    ASSERT_TRUE(edit.expect("editing"));
    tells({"locks", url}, 0, {fmt::format("yours, process {}", edit.pid())});
    tells({"unlock", "--mine", url}, 3, {"still run"});
    edit.signal(SIGKILL);
    edit.wait();
    tells({"locks", url}, 0, {"did not store", "quillon unlock --mine " + member, "your text is"});
    EXPECT_EQ(lockTokens(server).size(), 1u);
    tells({"unlock", "--mine", member}, 0, {"is still in"});
    EXPECT_EQ(lockTokens(server), Arguments{});

    support::RunningProcess shell(command({"shell", url}), support::Streams::terminal);
    shell.send("lock new\n");
    ASSERT_TRUE(shell.expect("until you unlock it"));
    shell.signal(SIGKILL);
    shell.wait();
    tells({"ls", url}, 0, {"new: the lock is off"});
    EXPECT_EQ(lockTokens(server), Arguments{});
}

TEST_F(Asking, aFolderIsCheckedAgainstATree) {
    fs::create_directories(work / "up/sub");
    writeFile(work / ("up/" + awkward), "text");
    writeFile(work / "up/sub/f", "first");
    const std::string tree = url + "up/";
    ASSERT_EQ(quillon({"put", "-r", "up", url}).exitCode, 0);
    tells({"check", "up", tree}, 0, {"2 the same"});
    server.addMember("up/sub/f", "changed");
    server.addCollection("up/theirs");
    server.addMember("up/theirs/a", "");
    writeFile(work / "up/mine", "");
    tells({"check", "-v", "up", tree}, 6,
          {"different sub/f", "missing here theirs/\n", "missing here theirs/a",
           "missing there mine", "1 the same"});
    server.addMember("up/sub/f", "fir5t");
    tells({"check", "--checksum", "-x", "theirs", "-x", "mine", "--json", "up", tree}, 6,
          {R"({"event":"different","path":"sub/f",)"});
    writeFile(work / "up/sub/f", "fir5t");
    tells({"check", "--checksum", "-x", "theirs", "-x", "mine", "up", tree}, 0, {"2 the same"});
    tells({"check", "up", url + "no"}, 3, {"no collection"});
    tells({"check", "no", tree}, 8, {"no: No such file"});
    server.addMember("up/sub2", "");
    fs::create_directory(work / "up/sub2");
    tells({"check", "-v", "up", tree}, 6, {"different sub2"});
}

TEST_F(Asking, propertiesAreSetTogetherOrNotAtAll) {
    server.addMember(awkward, "");
    const std::string a = "{http://example.org/\"<&>}a", b = "{urn:b}b";
    expect({{{"prop", "set", member, a, "1 < 2 & \xC3\xBC", b, ""}, 0, ""},
            {{"prop", "get", member, a}, 0, "1 < 2 & \xC3\xBC\n"},
            {{"prop", "rm", member, b}, 0, ""},
            {{"prop", "get", member, b}, 3, "no such property"},
            {{"prop", "set", "--xml", member, b, "<x xmlns=\"urn:b\" k=\"v\">1<y/></x>"}, 0, ""},
            {{"prop", "get", member, b}, 0, "<x xmlns=\"urn:b\" k=\"v\">1<y/></x>\n"},
            {{"prop", "set", "--xml", member, b, "</value><value>"}, 2, "cannot be sent"},
            {{"prop", "set", "--xml", member, b, "<D:a>"}, 2, "cannot be sent"},
            {{"prop", "set", member, b, "\x01"}, 2, "cannot be sent"},
            {{"prop", "set", member, b}, 2, "needs a value"},
            {{"prop", "get", member, "getetag"}, 2, "no name of a property"},
            {{"prop", "get", member, "{urn:b}a b"}, 2, "no name that"},
            {{"prop", "set", member, b, "new", "D:getetag", "x"}, 1, "D:getetag: the server"},
            {{"prop", "get", member, b}, 0, "<x xmlns=\"urn:b\" k=\"v\">1<y/></x>\n"},
            {{"prop", "get", url + "none", b}, 3, "404"}});
    tells({"prop", "ls", member}, 0, {a + "\n", "D:getlastmodified\n"});
    tells({"prop", "get", "--json", member}, 0, {R"("name":"a","xml":false,"value":"1 < 2 & )"});
    quillon({"lock", member});
    tells({"prop", "set", member, b, "2"}, 5, {"someone"});
}

TEST_F(Asking, aTouchOverwritesNothing) {
    expect({{{"touch", member}, 0, ""},
            {{"touch", url + "no/a"}, 3, "no collection"},
            {{"touch", url}, 2, "a collection"}});
    EXPECT_EQ(content(server, awkward), "");
    server.addMember(awkward, "text");
    expect({{{"touch", "-d", "2001-01-01", member}, 1, "keeps no dates"}});
    EXPECT_EQ(content(server, awkward), "text");
    expect({{{"ls", "-a", url}, 0, awkward + "\n"}});
}

TEST_F(Asking, eachSaveOfAnOpenMemberIsStored) {
    server.addMember(awkward, "old ");
    support::Command open = command({"open", member});
    open.environment["QUILLON_OPENER"] =
        "sh -c '(printf one >> \"$1\"; until [ -e go ]; do sleep 0.1; done; "
        "printf two >> \"$1\") &' sh";
    support::RunningProcess program(open, support::Streams::terminal);
    ASSERT_TRUE(program.expect("press Enter"));
    ASSERT_TRUE(program.expect("stored"));
    EXPECT_EQ(content(server, awkward), "old one");
    EXPECT_EQ(lockTokens(server).size(), 1u);
    writeFile(work / "go", "");
    ASSERT_TRUE(program.expect("stored"));
    program.send("\n");
    EXPECT_EQ(program.wait()->exitCode, 0);
    EXPECT_EQ(content(server, awkward), "old onetwo");
    EXPECT_EQ(lockTokens(server), Arguments{});
    // Somebody else's change is not overwritten, by none of the saves.
    const Apache lockless({.withoutLocks = true});
    addOldMember(lockless, "a", "old ");
    open.arguments.back() = lockless.url("a");
    open.environment["QUILLON_OPENER"] = "sh -c 'printf mine >> \"$1\"; printf theirs > " +
                                         (lockless.documentRoot() / "a").string() + "' sh";
    const support::Outcome outcome = support::run(open);
    EXPECT_EQ(outcome.exitCode, 6) << outcome.errors;
    EXPECT_EQ(content(lockless, "a"), "theirs");
    EXPECT_EQ(support::readFile(work / "a.mine"), "old mine");
    EXPECT_EQ(cacheDirectories(), Names{});
}

// What a server says is shown on a terminal, and does not steer it.
TEST_F(Asking, aHostileServerSteersNoTerminal) {
    support::ScriptedServer hostile;
    hostile.on("UNLOCK", "*", Answer(403)).on("HEAD", "/a*", Answer(200));
    hostile.on("OPTIONS", "/a*", Answer(200)).on("HEAD", "/", Answer(200));
    const std::string bad = "&#x9B;2J\xE2\x80\xAE";
    hostile.on("PROPFIND", "*",
               Answer::properties("/a%1B[2J", "<x xmlns=\"urn:" + bad + "\">" + bad +
                                                  "</x><lockdiscovery><activelock><owner>" + bad +
                                                  "</owner><locktoken><href>x`touch`</href>"
                                                  "</locktoken></activelock></lockdiscovery>"));
    for (const Arguments& arguments :
         {Arguments{"locks", hostile.url()}, Arguments{"locks", "--json", hostile.url()},
          Arguments{"prop", "get", hostile.url()}, Arguments{"prop", "ls", hostile.url()},
          Arguments{"prop", "get", "--json", hostile.url()}, Arguments{"ls", "-l", hostile.url()},
          Arguments{"info", hostile.url("a%1B%5B2J")},
          Arguments{"unlock", "--steal", "--yes", hostile.url("a%1B%5B2J")}}) {
        const std::string shown = answered(arguments, {}).output;
        expectHidden(shown, {"\x1B", "\xC2\x9B", "\xE2\x80\xAE"});
        EXPECT_FALSE(arguments[0] != "prop" && contains(shown, "touch")) << shown;
        EXPECT_GT(shown.size(), 10u);
    }
}

// As some servers do that have locks all the same.
TEST_F(Asking, aServerThatTellsNoLocksIsShownWithout) {
    support::ScriptedServer silent;
    silent.on("HEAD", "*", Answer(200)).on("OPTIONS", "*", Answer(200).with("DAV", "1, 2"));
    silent.on("PROPFIND", "*",
              Answer::xml(207,
                          "<multistatus xmlns=\"DAV:\"><response><href>/f</href><propstat><prop>"
                          "<resourcetype/></prop><status>HTTP/1.1 200 OK</status></propstat>"
                          "<propstat><prop><lockdiscovery/></prop>"
                          "<status>HTTP/1.1 404 Not Found</status></propstat></response>"
                          "</multistatus>"));
    for (const Arguments& asked : {Arguments{"info", "--json", silent.url("f")},
                                   Arguments{"ls", "--locks", "--json", silent.url()}}) {
        const support::Outcome outcome = quillon(asked);
        EXPECT_TRUE(contains(outcome.output, "/f")) << outcome.errors;
        EXPECT_FALSE(contains(outcome.output, "ocked")) << outcome.output;
    }
}

}  // namespace
}  // namespace quillon::cli
