// The writing commands against real servers.
#include <algorithm>
#include <future>

#include "tests/cli/program.hpp"

namespace quillon::cli {
namespace {

class Writing : public ProgramTest {
protected:
    const support::Apache server;
    const std::string url = server.url();
};

// With locks tests/interoperability.py does the same.
TEST_F(Writing, aCycleWithoutLocks) {
    const support::Apache plain({.withoutLocks = true});
    const std::string root = plain.url();
    const std::string name = "a b%20'\"#?;&+=@,~\xC3\xBC\xF0\x9F\x98\x80.txt";
    std::string typed = root + name;
    typed.replace(typed.find("%20"), 1, "%25");
    support::writeFile(work / name, "one\n");
    editWith("echo two >> \"$1\"");
    expect({{{"put", name, root}, 0, ""},
            {{"edit", typed}, 0, ""},
            {{"lock", typed, "--", "sed", "-i", "s/two/three/"}, 0, ""},
            {{"get", typed, "-"}, 0, "one\nthree\n"},
            {{"put", name, typed}, 0, ""},
            {{"get", typed, "-"}, 0, "one\n"},
            {{"mv", typed, "%" + name}, 0, ""},
            {{"ls", root}, 0, "%" + name + "\n"},
            {{"rm", root + "%25" + typed.substr(root.size())}, 0, ""},
            {{"mkcol", "-p", root + "c/d"}, 0, ""},
            {{"mkcol", "-p", root + "c/d"}, 0, ""},
            {{"rmcol", root + "c"}, 1, "Use --recursive"},  // only a sub-collection
            {{"rmcol", "-r", root + "c"}, 0, ""},
            {{"ls", root}, 0, ""}});
    EXPECT_EQ(localFiles(), Names{name});
}

TEST_F(Writing, requestsOfAnEdit) {
    addOldMember(server, "a", "old");
    editWith("echo >> \"$1\"");
    expect({{{"edit", url + "a"}, 0, ""}});
    EXPECT_EQ(server.transcript(),
              "HEAD / 200\nOPTIONS /a 200\nHEAD /a 200\nOPTIONS /a 200\nLOCK /a 200\n"
              "OPTIONS /a 200\nHEAD /a 200\nPROPFIND /a 207\nGET /a 200\nPUT /a 204\n"
              "UNLOCK /a 204\n");
}

TEST_F(Writing, memoryDoesNotGrowWithTheFile) {
    support::writeFile(work / "f", "x");
    const auto small = quillon({"put", "f", url});
    std::filesystem::resize_file(work / "f", 256 << 20);
    const auto large = quillon({"put", "f", url});
    EXPECT_EQ(std::filesystem::file_size(server.documentRoot() / "f"), 256u << 20) << large.errors;
    EXPECT_LT(large.peakKiB - small.peakKiB, 32 * 1024);
}

TEST_F(Writing, severalFilesShareConnectionsAndOneFailureIsNotTheEnd) {
    const std::pair<Arguments, int> rows[] = {
        {{"put", "a", "none", "b", "c", url}, 1},
        {{"put", "--force", "-j3", "a", "none", "b", "c", url}, 3},
        {{"put", "--force", "a", "none", "b", "c", url}, 1},  // not worth more
    };
    for (const auto& [arguments, connections] : rows) {
        const std::string text = std::to_string(arguments.size());
        for (const char* name : {"a", "b", "c"}) support::writeFile(work / name, text);
        server.clearAccessLog();
        expect({{arguments, 8, "Cannot read none"}});
        EXPECT_EQ(content(server, "a") + content(server, "b") + content(server, "c"),
                  text + text + text);
        EXPECT_LE(server.connections(), connections);
        EXPECT_EQ(server.transcript().find("LOCK") == std::string::npos, arguments[1] == "--force");
    }
    const std::string piped(100'000, 'y');
    expect(quillon({"put", "-", url + "piped"}, piped), 0, "");
    EXPECT_EQ(content(server, "piped"), piped);
}

// What others stored while the editor was open stays, and so does what the person wrote.
TEST_F(Writing, conflictsLoseNothing) {
    struct Conflict {
        std::string deeds;  // of others: Unlock, Delete, Put, Write the file behind the lock
        bool withoutLocks;
        int exitCode;
        const char* stored;
    };
    const Conflict rows[] = {{"U", false, 0, "old mine"},
                             {"UD", false, 0, "old mine"},
                             {"UP", false, 6, "theirs"},
                             {"W", false, 6, "theirs"},
                             {"P", true, 6, "theirs"}};
    mkfifo((home / "fifo").c_str(), 0600);
    editWith("echo editing; cat \"$HOME/fifo\" >> \"$1\"");
    const std::filesystem::path kept = work / "plan.mine.txt";
    for (const Conflict& row : rows) {
        SCOPED_TRACE(row.deeds);
        const support::Apache shared({.withoutLocks = row.withoutLocks});
        const std::string plan = shared.url("plan.txt");
        addOldMember(shared, "plan.txt", "old ");
        support::RunningProcess program(command({"edit", plan}));
        ASSERT_TRUE(program.expect("editing"));
        for (const char deed : row.deeds) {
            if (deed == 'U') quillon({"unlock", plan, "--token", lockTokens(shared).at(0)});
            if (deed == 'D') support::ask(shared.port(), "DELETE", "/plan.txt");
            if (deed == 'P') support::ask(shared.port(), "PUT", "/plan.txt", {}, "theirs");
            if (deed == 'W') shared.addMember("plan.txt", "theirs");
        }
        support::writeFile(home / "fifo", "mine");
        const support::Outcome outcome = *program.wait();
        EXPECT_EQ(outcome.exitCode, row.exitCode) << outcome.errors;
        EXPECT_EQ(content(shared, "plan.txt"), row.stored);
        EXPECT_EQ(std::filesystem::exists(kept), row.exitCode != 0);
        if (row.exitCode != 0) {
            expect(outcome, row.exitCode, "your version is in " + kept.string());
            EXPECT_EQ(support::readFile(kept), "old mine");
            std::filesystem::remove(kept);
        }
        EXPECT_TRUE(row.withoutLocks || lockTokens(shared).empty());
    }
}

TEST_F(Writing, aLockIsRespectedUntilItIsRemoved) {
    const std::string a = url + "a";
    const std::string told = "Somebody else holds a lock";
    server.addMember("a", "theirs");
    support::writeFile(work / "a", "mine");
    const std::string printed = quillon({"lock", a}).output;
    const Arguments tokens = lockTokens(server);
    EXPECT_EQ(tokens.at(0) + "\n", printed);
    expect({{{"put", "a", a}, 5, told},
            {{"put", "--force", "a", a}, 5, told},
            {{"edit", a}, 5, told},
            {{"lock", a, "--", "false"}, 5, told},
            {{"rm", a}, 5, told},
            {{"mv", a, "b"}, 5, told},
            {{"get", a, "-"}, 0, "theirs"},
            {{"unlock", a, "--token", tokens.at(0)}, 0, ""},
            {{"unlock", a, "--token", tokens.at(0)}, 3, "no lock with this token"},
            {{"put", "--force", "a", a}, 0, ""}});
}

TEST_F(Writing, oneOfTheMakersOfANameWins) {
    for (const bool withoutLocks : {false, true}) {
        const support::Apache shared({.withoutLocks = withoutLocks});
        std::vector<std::future<support::Outcome>> makers;
        for (const char name : {'a', 'b', 'c', 'd'}) {
            makers.push_back(std::async(std::launch::async, [&, name] {
                support::writeFile(work / std::string(1, name), std::string(200'000, name));
                return quillon(
                    {"put", "--if-unchanged-since", "1d", std::string(1, name), shared.url("f")});
            }));
        }
        std::string winners;
        for (char name = 'a'; auto& maker : makers) {
            const support::Outcome outcome = maker.get();
            if (outcome.exitCode != 0) {
                EXPECT_TRUE(outcome.exitCode == 5 || outcome.exitCode == 6) << outcome.errors;
            } else {
                winners += name;
            }
            ++name;
        }
        // Without locks a shared looks first and writes later, so several may have been told yes.
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
    support::writeFile(work / "a", "new");
    support::writeFile(work / "b", "more");
    const support::Rclone rclone;  // keeps no dates of creation
    rclone.addMember("a", "old");
    expect({{{"put", "a"}, 2, "needs a FILE and a URL"},
            {{"put", "a", "b", url + "c"}, 2, "end its URL with a slash"},
            {{"put", "-", url}, 2, "Name the member"},
            {{"put", "a", url + "c"}, 1, "This is a collection"},
            {{"put", ".", url}, 2, "cannot be a member's name"},
            {{"put", "a", url + "none/"}, 3, "no collection"},
            {{"put", "--if-unchanged-since", "2h", "a", url + "a"}, 6, "later than that"},
            {{"put", "--if-unchanged-since", "", "a", url + "a"}, 2, "\"\" is no time"},
            {{"edit", url + "c/"}, 2, "This is a collection"},
            {{"edit", url + "c"}, 1, "This is a collection"},
            {{"mv", url + "a", "c/a"}, 2, "not a URL or a path"},
            {{"mv", url, "d"}, 2, "root"},
            {{"rm", url + "c/"}, 2, "Use rmcol"},
            {{"rm", url + "c"}, 1, "This is a collection"},
            {{"rmcol", "-r", url + "a"}, 3, "no collection"},
            {{"rm", url + "none"}, 3, "none"},
            {{"rm", "--older-than", "1d", url + "a"}, 6, "not as old as that"},
            {{"rm", "--older-than", "0s", rclone.url("a")}, 1, "keeps no dates of creation"},
            {{"mkcol", "-p", url + "a"}, 1, "400"},
            {{"mkcol", url + "no/no"}, 1, "above the new one"},
            {{"rmcol", url + "none"}, 3, "none"},
            {{"unlock", url + "a"}, 2, "--token"},
            {{"lock", url + "a", "--", "/no/such/program"}, 127, "cannot run"},
            {{"lock", url + "a", "--", "sh", "-c", "exit 42"}, 42, ""},
            {{"ls", url}, 0, "a\nb\nc/\n"},
            {{"put", "--if-unchanged-since", "30m", "a", url + "a"}, 0, ""},
            {{"lock", url + "a", "--", "cp", "b", "{}"}, 0, ""},
            {{"get", url + "a", "-"}, 0, "more"},
            {{"rm", "--older-than", "0s", url + "a"}, 0, ""}});
    EXPECT_TRUE(lockTokens(server).empty());
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
    EXPECT_TRUE(lockTokens(server).empty());
}

TEST_F(Writing, theShellHoldsItsLocks) {
    server.addMember("a", "old");
    server.addCollection("sub");
    support::writeFile(work / "f", "new");
    const std::string holds = " is locked until you unlock it or leave\n";
    const Arguments shell{"shell", url};
    expect(
        quillon(shell,
                "lock a\nput f a\nlock new\nput f new\nput f\ncd sub\npwd\nput f 'x y'\nls\n"
                "cd ..\nmv a b\nunlock new\nls\nlock b\nget sub/x\\ y -\n"),
        0,
        "a" + holds + "new" + holds + url + "sub/" + "\nx y\nb\nf\nnew\nsub/\nb" + holds + "new");
    EXPECT_TRUE(lockTokens(server).empty());
    expect(quillon(shell, "ls none\nfoo\nexit\nls\n"), 3, "foo");
    EXPECT_NE(quillon(shell, "help\n").output.find("\n  mkcol "), std::string::npos);
}

TEST_F(Writing, theShellAtATerminal) {
    server.addMember("a b", "old");
    support::RunningProcess shell(command({"shell", url}), support::Streams::terminal);
    ASSERT_TRUE(shell.expect("/> "));
    shell.send("get a\t-\n");  // completed, with the blank quoted and one behind it
    EXPECT_TRUE(shell.expect("old") && shell.expect("/> "));
    shell.send("half a line");
    EXPECT_TRUE(shell.expect("half a line"));
    shell.send("\x03");
    EXPECT_TRUE(shell.expect("/> "));
    shell.send("lock a\t\n");
    EXPECT_TRUE(shell.expect("locked until") && shell.expect("/> "));
    EXPECT_EQ(lockTokens(server).size(), 1u);
    shell.send("\x04");
    EXPECT_EQ(shell.wait()->exitCode, 0) << shell.output();
    EXPECT_TRUE(lockTokens(server).empty());
}

}  // namespace
}  // namespace quillon::cli
