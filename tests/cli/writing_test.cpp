// The writing commands against a real server; tests/interoperability.py shows that they work.
#include <sys/xattr.h>

#include <algorithm>
#include <csignal>
#include <future>
#include <numeric>
#include <sstream>

#include "tests/cli/program.hpp"

namespace quillon::cli {
namespace {

class Writing : public ProgramTest {
protected:
    void TearDown() override { EXPECT_EQ(lockTokens(server), Arguments()); }

    const Apache server;
    const std::string url = server.url();
};

TEST_F(Writing, requestsOfAnEdit) {
    addOldMember(server, "a", "old");
    editWith("echo >> \"$1\"");
    expect({{{"edit", url + "a"}, 0, ""}});
    // What is asked at the same time ends in any order: before the lock, and under it. Apache may
    // note the LOCK itself behind what followed it at once.
    std::istringstream transcript(server.transcript());
    std::vector<std::string> lines;
    for (std::string line; std::getline(transcript, line);) lines.push_back(line + '\n');
    ASSERT_EQ(lines.size(), 11u);
    std::sort(lines.begin(), lines.begin() + 4);
    std::sort(lines.begin() + 4, lines.begin() + 9);
    EXPECT_EQ(std::accumulate(lines.begin(), lines.end(), std::string()),
              "HEAD / 200\nHEAD /a 200\nOPTIONS /a 200\nPROPFIND /a 207\n"
              "GET /a 200\nHEAD /a 200\nLOCK /a 200\nOPTIONS /a 200\nPROPFIND /a 207\nPUT /a 204\n"
              "UNLOCK /a 204\n");
}

TEST_F(Writing, memoryDoesNotGrowWithTheFile) {
    writeFile(work / "f", "x");
    const auto small = quillon({"put", "f", url});
    std::filesystem::resize_file(work / "f", 256 << 20);
    const auto large = quillon({"put", "f", url});
    EXPECT_EQ(std::filesystem::file_size(server.documentRoot() / "f"), 256u << 20) << large.errors;
    EXPECT_LT(large.peakKiB - small.peakKiB, 32 * 1024);
}

TEST_F(Writing, severalFilesShareConnectionsAndOneFailureIsNotTheEnd) {
    const std::pair<Arguments, int> rows[] = {
        {{"put", "a", "[none]", "b", "c", url}, 8},
        {{"put", "--force", "-j3", "a", "[none]", "b", "c", url}, 12},
        {{"put", "--force", "a", "[none]", "b", "c", url}, 8},  // not worth more
    };
    for (const auto& [arguments, connections] : rows) {
        const std::string text = std::to_string(arguments.size());
        for (const char* name : {"a", "b", "c"}) writeFile(work / name, text);
        server.clearTranscript();
        expect({{arguments, 8, "Cannot read [none]"}});
        EXPECT_EQ(content(server, "a") + content(server, "b") + content(server, "c"),
                  text + text + text);
        EXPECT_LE(server.connections(), connections);
        EXPECT_EQ(server.transcript().find("LOCK") == std::string::npos, arguments[1] == "--force");
    }
    const std::string piped(100'000, 'y');
    expect(quillon({"put", "-", url + "piped"}, piped), 0, "");
    EXPECT_EQ(content(server, "piped"), piped);
}

TEST_F(Writing, manyFilesGoAtATimeOverNobodysChange) {
    constexpr int count = 20;
    const auto put = [&](const std::string& text, int exitCode, const Arguments& more = {}) {
        Arguments line{"put"};
        for (int i = 0; i < count; ++i) {
            writeFile(work / std::to_string(i), text);
            line.push_back(std::to_string(i));
        }
        line.insert(line.end(), more.begin(), more.end());
        line.push_back(url);
        server.clearTranscript();
        const auto outcome = quillon(line);
        EXPECT_EQ(outcome.exitCode, exitCode) << outcome.errors;
        EXPECT_EQ(content(server, "7"), text);
        EXPECT_EQ(lockTokens(server), Arguments{});
        return outcome.errors;
    };
    put("1", 0);
    EXPECT_EQ(server.transcript().find("LOCK /7"), std::string::npos);
    put("2", 0);
    EXPECT_NE(server.transcript().find("LOCK /7"), std::string::npos);  // what Apache obeys
    server.addMember("3", "theirs");
    server.addCollection("sub");
    writeFile(work / "sub", "a file");
    const std::string told = put("4", 6, {"[none]", "sub"});
    EXPECT_NE(told.find("/3:\n  Somebody changed it"), std::string::npos) << told;
    EXPECT_NE(told.find("/sub:\n  This is a collection"), std::string::npos) << told;
    EXPECT_EQ(content(server, "3"), "theirs");
    put("5", 0, {"--force"});
    EXPECT_EQ(content(server, "3"), "5");
    EXPECT_EQ(server.transcript().find("LOCK"), std::string::npos);
}

TEST_F(Writing, aStreamIsSentOnceAndWholeOrNotAtAll) {
    server.addMember("f", "old");
    const auto pipe = [this](const std::string& input, const std::string& line, int exitCode) {
        support::Command piped = command({});
        piped.arguments = {"sh", "-c", input + " '" QUILLON_PROGRAM "' put --stream " + line};
        EXPECT_EQ(support::run(piped).exitCode, exitCode);
        EXPECT_EQ(cacheDirectories(), Names{});
        EXPECT_EQ(lockTokens(server), Arguments{});
    };
    server.clearTranscript();
    pipe("head -c 3000000 /dev/zero |", "- " + url + "f", 0);
    EXPECT_EQ(content(server, "f"), std::string(3'000'000, '\0'));
    EXPECT_EQ(server.transcript(),
              "PROPFIND /f 207\nLOCK /f 200\nPROPFIND /f 207\nPUT /f 204\nPROPFIND /f 207\n"
              "UNLOCK /f 204\nPROPFIND / 207\n");
    pipe("echo small |", "- " + url + "new", 0);
    EXPECT_EQ(content(server, "new"), "small\n");
    pipe("", "- " + url + "new < .", 8);
    pipe("", "a " + url, 2);
    EXPECT_EQ(content(server, "new"), "small\n");
}

// What others stored while the editor was open stays, and so does what the person wrote.
TEST_F(Writing, conflictsLoseNothing) {
    struct Conflict {
        // Of others: Unlock, Delete, Put, Write the file behind the lock, the Same size, or set its
        // date back, as if it were a change within the same second.
        std::string deeds;
        bool withoutLocks;
        int exitCode;
        const char* stored;
    };
    const Conflict rows[] = {{"U", false, 0, "old mine"}, {"UD", false, 0, "old mine"},
                             {"UP", false, 6, "theirs"},  {"W", false, 6, "theirs"},
                             {"UPB", false, 6, "theirs"}, {"P", true, 6, "theirs"},
                             {"PB", true, 6, "theirs"},   {"SB", true, 6, "odd "}};
    mkfifo((home / "fifo").c_str(), 0600);
    editWith("echo editing; cat \"$HOME/fifo\" >> \"$1\"");
    const std::filesystem::path kept = work / "plan.mine.txt";
    for (const Conflict& row : rows) {
        SCOPED_TRACE(row.deeds);
        const Apache shared({.withoutLocks = row.withoutLocks});
        const std::string plan = shared.url("plan.txt");
        addOldMember(shared, "plan.txt", "old ");
        const auto file = shared.documentRoot() / "plan.txt";
        // An old file whose date comes back cannot be told from one that nobody touched.
        if (row.deeds == "SB") shared.addMember("plan.txt", "old ");
        const auto date = std::filesystem::last_write_time(file);
        support::RunningProcess program(command({"edit", plan}));
        ASSERT_TRUE(program.expect("editing"));
        for (const char deed : row.deeds) {
            if (deed == 'U') quillon({"unlock", plan, "--token", lockTokens(shared).at(0)});
            if (deed == 'D') support::ask(shared.port(), "DELETE", "/plan.txt");
            if (deed == 'P') support::ask(shared.port(), "PUT", "/plan.txt", {}, "theirs");
            if (deed == 'W') shared.addMember("plan.txt", "theirs");
            if (deed == 'S') shared.addMember("plan.txt", "odd ");
            if (deed == 'B') std::filesystem::last_write_time(file, date);
        }
        writeFile(home / "fifo", "mine");
        const bool stored = row.exitCode == 0;
        expect(*program.wait(), row.exitCode,
               stored ? "editing\n" : "your version is in " + kept.string());
        EXPECT_EQ(content(shared, "plan.txt"), row.stored);
        EXPECT_EQ(program.errors().find("stored anew") != std::string::npos,
                  std::string_view("UD") == row.deeds);
        EXPECT_TRUE(stored || support::readFile(kept) == "old mine");
        EXPECT_EQ(std::filesystem::remove(kept), !stored);
        EXPECT_TRUE(row.withoutLocks || lockTokens(shared).empty());
    }
}

// Neither side's change is lost between a get and a put, whatever is left of the note.
TEST_F(Writing, aFileRemembersWhereItCameFrom) {
    const std::string attribute = "user.quillon.origin", f = work / "a";
    for (const std::string deed : {"", "rewritten", "hostile", "without locks"}) {
        SCOPED_TRACE(deed);
        const Apache classOne({.withoutLocks = true});
        const Apache& used = deed == "without locks" ? classOne : server;
        const std::string member = used.url() + "a";
        std::filesystem::remove(work / "a");
        addOldMember(used, "a", "old");
        expect({{{"get", member}, 0, ""}});
        if (deed == "rewritten") std::filesystem::remove(work / "a");  // the path alone remembers
        writeFile(work / "a", "mine");
        if (deed == "hostile") setxattr(f.c_str(), attribute.c_str(), "http://\n\n\n", 10, 0);
        expect({{{"get", member}, 6, "was changed since"}});
        EXPECT_EQ(support::readFile(work / "a"), "mine");
        expect({{{"put", "a", member}, 0, ""}});
        writeFile(work / "a", "mine again");
        expect({{{"put", "a", member}, 0, ""}});
        EXPECT_EQ(content(used, "a"), "mine again");

        addOldMember(used, "a", "theirs, later");
        writeFile(work / "a", "mine at last");
        expect({{{"put", "a", member}, 6, "changed on the server since"}});
        EXPECT_EQ(content(used, "a"), "theirs, later");
        expect({{{"put", "--force", "a", member}, 0, ""}});
        EXPECT_EQ(content(used, "a"), "mine at last");
        writeFile(work / "a", "edited");
        addOldMember(used, "a", "theirs");
        expect({{{"put", "--no-memory", "a", member}, 0, ""}});
        addOldMember(used, "a", "theirs");
        expect({{{"get", "--force", member}, 0, ""}});
        EXPECT_EQ(support::readFile(work / "a"), "theirs");
        // The same content under another tag is no change.
        addOldMember(used, "a", "theirs");
        writeFile(work / "a", "mine");
        expect({{{"put", "a", member}, 0, ""}});
    }
}

TEST_F(Writing, whatIsLargeIsNotFetchedBehindItsStore) {
    for (const char* content : {"x", "y"}) {
        server.clearTranscript();
        writeFile(work / "large", std::string(3 << 20, *content));
        expect({{{"put", "large", server.url()}, 0, ""}});
        EXPECT_EQ(server.transcript().find("GET"), std::string::npos) << server.transcript();
    }
}

TEST_F(Writing, aLockIsRespectedUntilItIsRemoved) {
    const std::string a = url + "a";
    const std::string told = "Somebody else holds a lock";
    server.addMember("a", "theirs");
    writeFile(work / "a", "mine");
    const std::string printed = quillon({"lock", a}).output;
    const std::string token = lockTokens(server).at(0);
    EXPECT_EQ(token + "\n", printed);
    std::filesystem::remove_all(home / "state");  // now it is somebody else's
    expect({{{"put", "a", a}, 5, told},
            {{"put", "--force", "a", a}, 5, told},
            {{"edit", a}, 5, told},
            {{"lock", a, "--", "false"}, 5, told},
            {{"rm", a}, 5, told},
            {{"mv", a, "b"}, 5, told},
            {{"get", a, "-"}, 0, "theirs"},
            {{"unlock", a, "--token", token}, 0, ""},
            {{"unlock", a, "--token", token}, 3, "no lock with this token"},
            {{"put", "--force", "a", a}, 0, ""}});
}

// By itself or by its token, each works under a lock that the person keeps. It stays, or goes with
// the name.
TEST_F(Writing, aLockOfOnesOwnKeepsOthersOutAlone) {
    const std::string a = url + "a", src = url + "src";
    const auto notes = [this] {
        std::error_code none;
        const std::filesystem::directory_iterator found(home / "state/quillon/locks", none);
        return std::distance(begin(found), end(found));
    };
    editWith("printf mine > \"$1\"");
    const std::pair<Arguments, bool> uses[] = {
        {{"put", "mine", a}, true},
        {{"put", "--force", "mine", a}, true},
        {{"put", "-", a}, true},
        {{"put", "--stream", "-", a}, true},
        {{"put", "--stream", "--force", "-", a}, true},
        {{"edit", a}, true},
        {{"open", a}, true},
        {{"lock", a, "--", "cp", "mine", "{}"}, true},
        {{"cp", "--force", src, a}, true},
        {{"mv", a, "b"}, false},
        {{"mv", "--force", a, url + "b"}, false},
        {{"rm", a}, false},
    };
    for (const bool named : {false, true}) {
        for (auto [arguments, stays] : uses) {
            SCOPED_TRACE(testing::PrintToString(arguments));
            if (named && arguments[0] == "cp") continue;
            server.addMember("a", "old");
            server.addMember("src", "mine");
            std::filesystem::remove(work / "mine");  // with what it remembers
            writeFile(work / "mine", "mine");
            std::filesystem::remove(server.documentRoot() / "b");
            ASSERT_EQ(quillon({"lock", a}).exitCode, 0);
            const Arguments token = lockTokens(server);
            if (named) {
                std::filesystem::remove_all(home / "state");
                arguments.insert(arguments.begin() + 1, {"--token", token.at(0)});
            }
            support::Command line = command(arguments);
            line.input = "mine";
            line.environment["QUILLON_OPENER"] = "sh -c 'printf mine > \"$1\"' sh";
            const support::Outcome outcome = support::run(line);
            EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
            const bool isThere = std::filesystem::exists(server.documentRoot() / "a");
            EXPECT_EQ(isThere ? content(server, "a") : "", stays ? "mine" : "");
            EXPECT_EQ(lockTokens(server), stays ? token : Arguments{});
            EXPECT_EQ(notes(), named || !stays ? 0 : 1);
            if (stays) expect({{{"unlock", a, "--token", token.at(0)}, 0, ""}});
        }
    }
    server.addMember("a", "old");
    const std::string other = "opaquelocktoken:none", told = "no lock with this token";
    expect({{{"put", "--token", "no URI", "mine", a}, 2, "no lock token"},
            {{"put", "--token", "garbage", "mine", "http://127.0.0.1:1/a"}, 2, "such as opaque"},
            {{"put", "--force", "--token", "", "mine", a}, 2, "its value is empty"},
            {{"put", "--token", other, "mine", "mine", url}, 2, "a single FILE"},
            {{"rm", "-r", "--token", other, a}, 2, "a single URL"},
            {{"put", "--token", other, "mine", a}, 3, told},
            {{"edit", "--token", other, a}, 3, told},
            {{"rm", "--token", other, a}, 3, told},
            {{"mv", "--token", other, a, url + "b"}, 3, told}});
    EXPECT_EQ(content(server, "a"), "old");
    ASSERT_EQ(quillon({"mkcol", url + "c"}).exitCode + quillon({"lock", url + "c/f"}).exitCode, 0);
    expect({{{"rm", "-r", "-y", url + "c/"}, 1, "A lock of your own is in it"},
            {{"mv", url + "c/", url + "d/"}, 1, "A lock of your own is in it"},
            {{"unlock", "--mine", url + "c/"}, 0, ""},
            {{"rm", "-r", "-y", url + "c/"}, 0, ""}});
    // One that has run out is told of and forgotten.
    for (const bool hasEnded : {false, true}) {
        ASSERT_EQ(quillon({"lock", a}).exitCode, 0);
        support::ask(server.port(), "UNLOCK", "/a",
                     "Lock-Token: <" + lockTokens(server).at(0) + ">\r\n");
        const std::filesystem::directory_iterator note(home / "state/quillon/locks");
        const auto age = std::chrono::hours(hasEnded ? 3 : 1);
        std::filesystem::last_write_time(*note,
                                         std::filesystem::file_time_type::clock::now() - age);
        const std::string how = hasEnded ? " ended at 20" : " is not there any more";
        const std::string errors = quillon({"put", "mine", a}).errors;
        EXPECT_NE(errors.find("the lock of " + a + how), std::string::npos) << errors;
        EXPECT_EQ(notes(), 0);
        EXPECT_EQ(quillon({"put", "mine", a}).errors, "");
    }
}

// What comes between is not overwritten under such a lock, either, and it is one program's at a
// time.
TEST_F(Writing, aLockOfOnesOwnIsNotForTwoAtOnce) {
    const std::string a = url + "a";
    addOldMember(server, "a", "old ");
    writeFile(work / "a", "mine");
    mkfifo((home / "fifo").c_str(), 0600);
    editWith("echo editing; cat \"$HOME/fifo\" >> \"$1\"");
    for (const std::string how : {"", "named", "kept"}) {
        const bool kept = !how.empty(), named = how == "named";
        addOldMember(server, "a", "old ");
        if (kept) quillon({"lock", a});
        Arguments editing{"edit", a};
        if (named) {
            std::filesystem::remove_all(home / "state");
            editing.insert(editing.end(), {"--token", lockTokens(server).at(0)});
        }
        support::RunningProcess edit(command(editing));
        ASSERT_TRUE(edit.expect("editing"));
        const std::string told = kept ? "works just now. Try again" : "or wait for its end";
        expect(quillon({"put", "a", a}), 5, told);
        expect(quillon({"put", "--force", "a", a}), 5, told);
        if (named) expect(quillon({"put", "a", a, "--token", editing.back()}), 5, told);
        if (kept) addOldMember(server, "a", "behind the lock");
        writeFile(home / "fifo", "mine");
        EXPECT_EQ(edit.wait()->exitCode, kept ? 6 : 0);
        EXPECT_EQ(content(server, "a"), kept ? "behind the lock" : "old mine");
        if (named) quillon({"unlock", a, "--token", editing.back()});
    }
    EXPECT_EQ(lockTokens(server).size(), 1u);
    std::filesystem::remove(work / "a");
    expect(quillon({"get", a}), 0, "");
    addOldMember(server, "a", "theirs, later");
    writeFile(work / "a", "mine");
    expect(quillon({"put", "a", a}), 6, "changed on the server since");
    // Killed, a program leaves the lock as it was, and its text.
    support::RunningProcess edit(command({"edit", a}));
    ASSERT_TRUE(edit.expect("editing"));
    edit.signal(SIGKILL);
    edit.wait();
    EXPECT_NE(quillon({"info", a}).errors.find("did not store"), std::string::npos);
    EXPECT_EQ(lockTokens(server).size(), 1u);
    expect(quillon({"put", "--force", "a", a}), 0, "");
    expect(quillon({"unlock", "--mine", a}), 0, "");
}

TEST_F(Writing, oneOfTheMakersOfANameWins) {
    for (const bool withoutLocks : {false, true}) {
        const Apache shared({.withoutLocks = withoutLocks});
        std::map<char, std::future<support::Outcome>> makers;
        for (const char name : {'a', 'b', 'c', 'd'}) {
            const std::string file(1, name);
            writeFile(work / file, std::string(200'000, name));
            makers[name] = std::async(std::launch::async, [this, file, to = shared.url("f")] {
                return quillon({"put", "--if-unchanged-since", "1d", file, to});
            });
        }
        std::string winners;
        for (auto& [name, maker] : makers) {
            const support::Outcome outcome = maker.get();
            if (outcome.exitCode == 0)
                winners += name;
            else
                EXPECT_TRUE(outcome.exitCode == 5 || outcome.exitCode == 6) << outcome.errors;
        }
        // Without locks Apache looks first and writes later, so several may have been told yes.
        EXPECT_TRUE(withoutLocks || winners.size() == 1) << winners;
        const std::string stored = content(shared, "f");
        EXPECT_NE(winners.find(stored.at(0)), winners.npos);
        EXPECT_EQ(stored, std::string(200'000, stored.at(0)));
    }
}

TEST_F(Writing, refusals) {
    addOldMember(server, "a", "a");
    server.addMember("b", "b");
    server.addCollection("c");
    server.addCollection("c/d");
    writeFile(work / "a", "new");
    writeFile(work / "b", "more");
    const std::string a = url + "a", c = url + "c";
    expect({{{"put", "a"}, 2, "needs a FILE and a URL"},
            {{"put", "a", "b", c}, 2, "end its URL with a slash"},
            {{"put", "-", url}, 2, "Name the member"},
            {{"put", "a", c}, 1, "This is a collection"},
            {{"put", ".", url}, 2, "cannot be a member's name"},
            {{"put", "--if-unchanged-since", "2h", "a", a}, 6, "later than that"},
            {{"put", "--if-unchanged-since", "", "a", a}, 2, "\"\" is no time"},
            {{"edit", c + "/"}, 2, "This is a collection"},
            {{"edit", c}, 1, "This is a collection"},
            {{"mv", a, "c"}, 1, "taken already"},
            {{"mv", a, "c/a"}, 2, "cannot use this URL"},
            {{"mv", url, "d"}, 2, "root"},
            {{"rm", c + "/"}, 2, "Use rmcol"},
            {{"rmcol", "-r", a}, 3, "no collection"},
            {{"rmcol", c}, 1, "Use --recursive"},  // only a sub-collection
            {{"rm", url + "none"}, 3, "none"},
            {{"rm", "--older-than", "1d", a}, 6, "not as old as that"},
            {{"mkcol", "-p", a}, 1, "is a file"},
            {{"mkcol", url + "no/no"}, 1, "above the new one"},
            {{"mkcol", "-p", c + "/d"}, 0, ""},
            {{"rmcol", url + "none"}, 3, "none"},
            {{"unlock", a}, 2, "--token"},
            {{"lock", a, "--", "/no/such/program"}, 127, "cannot run"},
            {{"lock", a, "--", "sh", "-c", "exit 42"}, 42, ""},
            {{"ls", url}, 0, "a\nb\nc/\n"},
            {{"put", "--if-unchanged-since", "30m", "a", a}, 0, ""},
            {{"lock", a, "--", "cp", "b", "{}"}, 0, ""},
            {{"get", a, "-"}, 0, "more"},
            {{"rm", "--older-than", "0s", a}, 0, ""}});
}

TEST_F(Writing, editorsThatChangeNothingOrFail) {
    server.addMember("a.txt", "old");
    const std::string a = url + "a.txt";
    const std::string none = url + "none";
    editWith(":");
    expect({{{"edit", a}, 0, a + ": unchanged, nothing was stored\n"},
            {{"edit", none}, 0, none + ": unchanged, nothing was stored\n"}});
    editWith("exit 1");
    expect({{{"edit", a}, 8, ""}});
    EXPECT_EQ(localFiles(), Names{});
    editWith("echo mine > \"$1\"; exit 1");
    expect({{{"edit", a}, 8, "a.mine.txt"},
            {{"edit", a}, 8, "a.mine-1.txt"},
            {{"get", a, "-"}, 0, "old"},
            {{"ls", url}, 0, "a.txt\n"}});
    EXPECT_EQ(localFiles(), (Names{"a.mine-1.txt", "a.mine.txt"}));
}

TEST_F(Writing, theShellHoldsItsLocks) {
    server.addMember("a", "old");
    server.addCollection("sub");
    writeFile(work / "f", "new");
    const std::string holds = " is locked until you unlock it or leave\n";
    const Arguments shell{"shell", url};
    const std::string lines =
        "lock a\nput f a\nlock new\nput f new\nput f\ncd sub\npwd\nput f 'x y'\nls\n"
        "cd ..\nmv a b\nunlock new\nls\nlock b\nget sub/x\\ y -\n";
    expect(quillon(shell, lines), 0,
           "a" + holds + "new" + holds + url + "sub/\nx y\nb\nf\nnew\nsub/\nb" + holds + "new");
    expect(quillon(shell, "ls none\nfoo\nexit\nls\n"), 3, "foo");
    for (const char* name : {"1", "2", "3"}) server.addMember(name, "");
    expect(quillon(shell, "get -j3 1 2 3\nlock a -- sh -c 'ls -A'\n"), 0, "1\n2\n3\nf\n");
    EXPECT_NE(quillon(shell, "help\n").output.find("\n  mkcol "), std::string::npos);
}

// The editor goes on in vain; its text and the lock are all that is left.
TEST_F(Writing, whatAKilledEditLeftIsTold) {
    server.addMember("a", "old ");
    const std::string a = url + "a";
    editWith("printf mine >> \"$1\"; echo editing; exec sleep 1000 >&- 2>&-");
    support::RunningProcess program(command({"edit", a}));
    ASSERT_TRUE(program.expect("editing"));
    const auto told = [&](const Arguments& arguments, std::string_view text) {
        return quillon(arguments).errors.find(text) != std::string::npos;
    };
    EXPECT_FALSE(told({"info", a}, "quillon did not store"));
    program.signal(SIGKILL);
    program.wait();

    const std::string token = lockTokens(server).at(0);
    const std::string unlocking = "quillon unlock --mine " + a;
    std::smatch place;
    const std::string errors = quillon({"info", a}).errors;
    ASSERT_TRUE(std::regex_search(errors, place, std::regex("did not store is in (.+); move")));
    EXPECT_EQ(support::readFile(place[1].str()), "old mine");
    EXPECT_NE(errors.find(unlocking + "\n"), std::string::npos) << errors;
    editWith(":");
    EXPECT_TRUE(told({"edit", url + "b"}, unlocking));
    EXPECT_FALSE(told({"unlock", a, "--token", token}, "did not store"));
    EXPECT_FALSE(told({"edit", a}, "unlock"));
    EXPECT_TRUE(told({"edit", a}, place[1].str()));
    chmod((home / "state/quillon").c_str(), 0777);
    EXPECT_TRUE(told({"info", a}, "Others can change the directory"));
    chmod((home / "state/quillon").c_str(), 0700);
    std::filesystem::remove(place[1].str());
    EXPECT_FALSE(told({"edit", a}, "did not store"));
    EXPECT_TRUE(std::filesystem::is_empty(home / "state/quillon/locks"));
}

TEST_F(Writing, aKilledEditsCacheGoesWhenNobodyWorksThere) {
    server.addMember("a", "old ");
    const std::string a = url + "a";
    const std::filesystem::path cache = home / "cache/quillon";
    for (const bool changed : {false, true}) {
        const std::string change = changed ? "printf mine >> \"$1\"; " : "";
        editWith(change + "echo editing $$.; exec sleep 1000 >&- 2>&-");
        support::RunningProcess program(command({"edit", a}));
        ASSERT_TRUE(program.expect("."));
        for (const auto& entry : std::filesystem::recursive_directory_iterator(cache)) {
            const auto old = std::filesystem::file_time_type::clock::now() - std::chrono::hours(1);
            if (entry.is_directory()) std::filesystem::last_write_time(entry, old);
        }
        const Names all = cacheDirectories();
        quillon({"info", a});
        EXPECT_EQ(cacheDirectories(), all) << "of a living process";
        program.signal(SIGKILL);
        const std::string output = program.wait()->output;
        quillon({"info", a});
        EXPECT_EQ(cacheDirectories(), all) << "of a living editor";
        kill(std::stoi(output.substr(output.find(' '))), SIGKILL);
        quillon({"unlock", a, "--token", lockTokens(server).at(0)});
        const auto gone = [&] { return quillon({"info", a}), cacheDirectories().empty(); };
        EXPECT_NE(support::eventually(gone, support::Duration(changed ? 0 : 10'000)), changed);
    }
    std::filesystem::remove_all(home / "state");  // the note, without which the file is found, too
    editWith(":");
    EXPECT_NE(quillon({"edit", a}).errors.find("killed left " + cache.string()), std::string::npos);
}

TEST_F(Writing, theShellAtATerminal) {
    server.addMember("a b", "content");
    support::RunningProcess shell(command({"shell", url}), support::Streams::terminal);
    const std::pair<const char*, const char*> typed[] = {
        {"", "/> "},
        {"get a\t-\n", "content"},  // completed, with the blank quoted and one behind it
        {"", "/> "},
        {"half a line", "half a line"},
        {"\x03", "/> "},
        {"lock a\t\n", "locked until"},
        {"", "/> "},
    };
    for (const auto& [keys, shown] : typed) {
        shell.send(keys);
        ASSERT_TRUE(shell.expect(shown)) << keys << shell.output();
    }
    EXPECT_EQ(lockTokens(server).size(), 1u);
    shell.send("\x04");
    EXPECT_EQ(shell.wait()->exitCode, 0) << shell.output();
}

}  // namespace
}  // namespace quillon::cli
