// The writing commands against real servers.
#include <thread>

#include "tests/cli/writing.hpp"

namespace quillon::cli {
namespace {

class Writing : public WritingTest {
protected:
    void wholeCycle(const support::WebDavServer& server) {
        const std::string url = server.url();
        const std::string awkward = "a b%20'\"#?;&+=@,~\xC3\xBC\xF0\x9F\x98\x80.txt";
        std::string typed = url + awkward;
        typed.replace(typed.find("%20"), 1, "%25");
        support::writeFile(work / awkward, "one\n");
        const auto succeeds = [&](Arguments arguments) {
            const support::Outcome outcome = quillon(arguments);
            EXPECT_EQ(outcome.exitCode, 0)
                << server.name() << " " << testing::PrintToString(arguments) << outcome.errors;
            EXPECT_EQ(outcome.errors, "");
            return outcome.output;
        };
        succeeds({"put", awkward, url});
        EXPECT_EQ(succeeds({"get", typed, "-"}), "one\n");
        EXPECT_EQ(edit(typed, "echo two >> \"$1\"").exitCode, 0);
        EXPECT_EQ(succeeds({"get", typed, "-"}), "one\ntwo\n");
        succeeds({"lock", typed, "--", "sed", "-i", "s/two/three/"});
        EXPECT_EQ(succeeds({"get", typed, "-"}), "one\nthree\n");
        succeeds({"put", awkward, typed});
        EXPECT_EQ(succeeds({"get", typed, "-"}), "one\n");
        succeeds({"mv", typed, "%" + awkward});
        EXPECT_EQ(succeeds({"ls", url}), "%" + awkward + "\n");
        succeeds({"mv", url + "%25" + typed.substr(url.size()), awkward});
        succeeds({"mkcol", "-p", url + "c/d"});
        succeeds({"put", awkward, url + "c/d/"});
        EXPECT_EQ(quillon({"rmcol", url + "c"}).exitCode, 1);    // only a sub-collection
        EXPECT_EQ(quillon({"rmcol", url + "c/d"}).exitCode, 1);  // a member
        EXPECT_EQ(quillon({"rm", url + "c"}).exitCode, 1);       // not by rm
        EXPECT_NE(quillon({"rmcol", "-r", typed}).exitCode, 0);  // not by rmcol
        EXPECT_EQ(succeeds({"ls", url}), awkward + "\nc/\n");
        succeeds({"mkcol", url + "e"});
        succeeds({"rmcol", url + "e"});
        succeeds({"rmcol", "--recursive", url + "c"});
        succeeds({"rm", typed});
        EXPECT_EQ(succeeds({"ls", url}), "");
        EXPECT_EQ(lockTokens(server), std::vector<std::string>{});
        EXPECT_EQ(localFiles(), std::vector<std::string>{awkward});
        EXPECT_TRUE(cacheDirectories().empty());
    }
};

TEST_F(Writing, apache) {
    wholeCycle(support::Apache());
}
TEST_F(Writing, apacheWithoutLocks) {
    wholeCycle(support::Apache({.withoutLocks = true}));
}
TEST_F(Writing, lighttpd) {
    wholeCycle(support::Lighttpd());
}
TEST_F(Writing, rclone) {
    wholeCycle(support::Rclone());
}
TEST_F(Writing, nginx) {
    if (!support::Nginx::installed()) GTEST_SKIP() << "no nginx";
    wholeCycle(support::Nginx());
}

TEST_F(Writing, requestsOfAnEdit) {
    const support::Apache server;
    addOldMember(server, "a", "old");
    EXPECT_EQ(edit(server.url("a"), "echo >> \"$1\"").exitCode, 0);
    EXPECT_EQ(server.transcript(),
              "HEAD / 200\nOPTIONS /a 200\nHEAD /a 200\nOPTIONS /a 200\nLOCK /a 200\n"
              "OPTIONS /a 200\nHEAD /a 200\nPROPFIND /a 207\nGET /a 200\nPUT /a 204\n"
              "UNLOCK /a 204\n");
}

TEST_F(Writing, sizes) {
    const support::Apache server;
    for (const size_t size : {0UL, 1UL, 4'096UL, 4'097UL, 300'000UL}) {
        support::writeFile(work / "f", std::string(size, 'x'));
        for (const char* name : {"new", "f"}) {  // new, then replaced
            EXPECT_EQ(quillon({"put", "f", server.url(name)}).exitCode, 0);
            EXPECT_EQ(content(server, name), std::string(size, 'x'));
        }
        EXPECT_EQ(quillon({"rm", server.url("new"), server.url("f")}).exitCode, 0);
    }
    support::Command piped = command({"put", "-", server.url("piped")});
    piped.input = std::string(100'000, 'y');
    EXPECT_EQ(support::run(piped).exitCode, 0);
    EXPECT_EQ(content(server, "piped"), piped.input);
}

TEST_F(Writing, memoryDoesNotGrowWithTheFile) {
    const support::Apache server;
    support::writeFile(work / "small", "x");
    support::writeFile(work / "large", "x");
    std::filesystem::resize_file(work / "large", 256 << 20);
    const auto small = quillon({"put", "small", server.url()});
    const auto large = quillon({"put", "large", server.url()});
    EXPECT_EQ(large.exitCode, 0) << large.errors;
    EXPECT_EQ(std::filesystem::file_size(server.documentRoot() / "large"), 256u << 20);
    EXPECT_LT(large.peakKiB - small.peakKiB, 32 * 1024);
}

TEST_F(Writing, severalFilesOpenTheirCollectionOnce) {
    const support::Apache server;
    for (const char* name : {"a", "b", "c"}) support::writeFile(work / name, name);
    EXPECT_EQ(quillon({"put", "a", "none", "b", "c", server.url()}).exitCode, 8);
    EXPECT_EQ(content(server, "c"), "c");
    EXPECT_EQ(server.connections(), 1);
    const auto log = server.accessLog();
    EXPECT_EQ(std::count_if(log.begin(), log.end(),
                            [](const auto& request) { return request.target == "/"; }),
              1);
}

TEST_F(Writing, aLockThatIsRemovedIsTakenAgain) {
    const support::Apache server;
    addOldMember(server, "a", "old ");
    support::RunningProcess program(waitingEdit(server.url("a")));
    ASSERT_TRUE(program.expect("editing"));
    removeLock(server, "a");
    server.clearAccessLog();
    endEditor("new");
    EXPECT_EQ(program.wait()->exitCode, 0) << program.errors();
    EXPECT_EQ(content(server, "a"), "old new");
    EXPECT_EQ(server.transcript(),
              "PUT /a 412\nLOCK /a 200\nOPTIONS /a 200\nHEAD /a 200\nPROPFIND /a 207\nPUT /a 204\n"
              "UNLOCK /a 204\n");
    EXPECT_TRUE(lockTokens(server).empty());
}

TEST_F(Writing, aMemberThatIsDeletedMeanwhileIsMadeAgain) {
    const support::Apache server;
    addOldMember(server, "a", "old ");
    support::RunningProcess program(waitingEdit(server.url("a")));
    ASSERT_TRUE(program.expect("editing"));
    removeLock(server, "a");
    support::ask(server.port(), "DELETE", "/a");
    endEditor("new");
    EXPECT_EQ(program.wait()->exitCode, 0) << program.errors();
    EXPECT_EQ(content(server, "a"), "old new");
}

// What others stored stays, and so does what the person wrote.
TEST_F(Writing, conflictsLoseNothing) {
    enum class Way { underNoLock, withoutLocks, behindTheLock };
    for (const Way way : {Way::underNoLock, Way::withoutLocks, Way::behindTheLock}) {
        const support::Apache server({.withoutLocks = way == Way::withoutLocks});
        addOldMember(server, "plan.txt", "old ");
        support::RunningProcess program(waitingEdit(server.url("plan.txt")));
        ASSERT_TRUE(program.expect("editing"));
        if (way == Way::underNoLock) removeLock(server, "plan.txt");
        if (way == Way::behindTheLock) {
            server.addMember("plan.txt", "theirs");
        } else {
            support::ask(server.port(), "PUT", "/plan.txt", {}, "theirs");
        }
        endEditor("mine");
        EXPECT_EQ(program.wait()->exitCode, 6) << program.errors();
        EXPECT_EQ(content(server, "plan.txt"), "theirs");
        EXPECT_EQ(support::readFile(work / "plan.mine.txt"), "old mine");
        EXPECT_NE(program.errors().find("changed"), std::string::npos) << program.errors();
        EXPECT_NE(program.errors().find("your version is in " + (work / "plan.mine.txt").string()),
                  std::string::npos)
            << program.errors();
        EXPECT_TRUE(way == Way::withoutLocks || lockTokens(server).empty());
        EXPECT_TRUE(cacheDirectories().empty());
        std::filesystem::remove(work / "plan.mine.txt");
    }
}

TEST_F(Writing, aLockOfSomebodyElseIsRespected) {
    const support::Apache server;
    server.addMember("a", "theirs");
    takeLock(server, "a");
    support::writeFile(work / "a", "mine");
    const Arguments rows[] = {{"put", "a", server.url()},  {"put", "--force", "a", server.url()},
                              {"edit", server.url("a")},   {"lock", server.url("a"), "--", "false"},
                              {"lock", server.url("a")},   {"rm", server.url("a")},
                              {"mv", server.url("a"), "b"}};
    for (const Arguments& row : rows) {
        const auto outcome = quillon(row);
        EXPECT_EQ(outcome.exitCode, 5) << row.front() << outcome.errors;
        EXPECT_NE(outcome.errors.find("Locked by somebody else, until"), std::string::npos)
            << row.front() << outcome.errors;
    }
    EXPECT_EQ(content(server, "a"), "theirs");
    EXPECT_EQ(lockTokens(server).size(), 1u);
}

TEST_F(Writing, oneOfTheMakersOfANameWins) {
    for (const bool withoutLocks : {false, true}) {
        const support::Apache server({.withoutLocks = withoutLocks});
        std::vector<std::unique_ptr<support::RunningProcess>> makers;
        for (const char* name : {"a", "b", "c", "d"}) {
            support::writeFile(work / name, std::string(200'000, *name));
            makers.push_back(std::make_unique<support::RunningProcess>(
                command({"put", "--if-unchanged-since", "1d", name, server.url("f")})));
        }
        std::vector<char> winners;
        for (char name = 'a'; const auto& maker : makers) {
            const int code = maker->wait()->exitCode;
            if (code == 0) winners.push_back(name);
            EXPECT_TRUE(code == 0 || code == 5 || code == 6) << code << maker->errors();
            ++name;
        }
        // Without locks a server looks first and writes later, so several may have been told yes.
        ASSERT_FALSE(winners.empty());
        EXPECT_TRUE(withoutLocks || winners.size() == 1);
        const std::string stored = content(server, "f");
        EXPECT_NE(std::find(winners.begin(), winners.end(), stored.at(0)), winners.end());
        EXPECT_EQ(stored, std::string(200'000, stored.at(0)));
    }
}

TEST_F(Writing, conditionsOfScripts) {
    const support::Apache server;
    addOldMember(server, "a", "old");
    support::writeFile(work / "a", "new");
    const std::string url = server.url("a");
    EXPECT_EQ(quillon({"put", "--if-unchanged-since", "2h", "a", url}).exitCode, 6);
    EXPECT_EQ(quillon({"put", "--if-unchanged-since", "soon", "a", url}).exitCode, 2);
    EXPECT_EQ(content(server, "a"), "old");
    EXPECT_EQ(quillon({"put", "--if-unchanged-since", "30m", "a", url}).exitCode, 0);
    EXPECT_EQ(content(server, "a"), "new");
    const auto young = quillon({"rm", "--older-than", "1d", url});
    EXPECT_EQ(young.exitCode, 6);
    EXPECT_EQ(quillon({"rm", "--older-than", "0s", url}).exitCode, 0);

    const support::Rclone rclone;  // keeps no dates of creation
    rclone.addMember("a", "old");
    const auto undated = quillon({"rm", "--older-than", "0s", rclone.url("a")});
    EXPECT_EQ(undated.exitCode, 1);
    EXPECT_NE(undated.errors.find("keeps no dates of creation"), std::string::npos);
}

TEST_F(Writing, refusals) {
    const support::Apache server;
    const std::string url = server.url();
    server.addMember("a", "a");
    server.addMember("b", "b");
    server.addCollection("c");
    support::writeFile(work / "a", "new");
    const std::pair<Arguments, int> rows[] = {
        {{"put", "a"}, 2},
        {{"put", "a", "b", url + "c"}, 2},
        {{"put", "-", url}, 2},
        {{"put", "a", url + "c"}, 1},
        {{"put", ".", url}, 2},
        {{"put", "none", url}, 8},
        {{"put", "a", url + "none/"}, 3},
        {{"edit", url + "c/"}, 2},
        {{"edit", url + "c"}, 1},
        {{"mv", url + "a", "b"}, 1},
        {{"mv", url + "a", "c/a"}, 2},
        {{"mv", url + "none", "d"}, 3},
        {{"mv", url, "d"}, 2},
        {{"rm", url + "c/"}, 2},
        {{"rm", url + "none"}, 3},
        {{"mkcol", url + "c"}, 1},
        {{"mkcol", url + "a"}, 1},
        {{"mkcol", "-p", url + "a"}, 1},
        {{"mkcol", url + "no/no"}, 1},
        {{"rmcol", url + "none"}, 3},
        {{"unlock", url + "a"}, 2},
        {{"unlock", url + "a", "--token", "opaquelocktoken:0"}, 3},
        {{"lock", url + "a", "--", "/no/such/program"}, 127},
        {{"lock", url + "a", "--", "sh", "-c", "exit 42"}, 42},
    };
    for (const auto& [arguments, exitCode] : rows) {
        const auto outcome = quillon(arguments);
        EXPECT_EQ(outcome.exitCode, exitCode)
            << testing::PrintToString(arguments) << outcome.errors;
    }
    EXPECT_EQ(quillon({"ls", url}).output, "a\nb\nc/\n");
    EXPECT_EQ(content(server, "a") + content(server, "b"), "ab");
    EXPECT_TRUE(lockTokens(server).empty());
}

TEST_F(Writing, editorsThatChangeNothingOrFail) {
    const support::Apache server;
    server.addMember("a.txt", "old");
    const std::string url = server.url("a.txt");
    EXPECT_EQ(edit(url, ":").output, url + ": unchanged, nothing was stored\n");
    EXPECT_EQ(edit(server.url("none"), ":").exitCode, 0);
    EXPECT_EQ(edit(url, "exit 1").exitCode, 8);
    EXPECT_TRUE(localFiles().empty());
    for (const char* name : {"a.mine.txt", "a.mine-1.txt"}) {
        EXPECT_EQ(edit(url, "echo mine > \"$1\"; exit 1").exitCode, 8);
        EXPECT_EQ(support::readFile(work / name), "mine\n");
    }
    EXPECT_EQ(content(server, "a.txt"), "old");
    EXPECT_EQ(quillon({"ls", server.url()}).output, "a.txt\n");
    EXPECT_TRUE(lockTokens(server).empty());
}

TEST_F(Writing, locksForLater) {
    const support::Apache server;
    server.addMember("a", "old");
    std::string token = quillon({"lock", server.url("a")}).output;
    token.pop_back();
    EXPECT_EQ(lockTokens(server), std::vector<std::string>{token});
    EXPECT_EQ(quillon({"unlock", server.url("a"), "--token", token}).exitCode, 0);
    EXPECT_TRUE(lockTokens(server).empty());
}

TEST_F(Writing, theShellHoldsItsLocks) {
    const support::Apache server;
    server.addMember("a", "old");
    server.addCollection("sub");
    support::writeFile(work / "f", "new");
    support::Command shell = command({"shell", server.url()});
    shell.input =
        "lock a\nput f a\nlock new\nput f new\nput f\ncd sub\npwd\nput f 'x y'\nls\ncd ..\n"
        "mv a b\nunlock new\nls\nlock b\nget sub/x\\ y -\n";
    const auto outcome = support::run(shell);
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(outcome.output,
              "a is locked until you unlock it or leave\n"
              "new is locked until you unlock it or leave\n" +
                  server.url("sub/") +
                  "\nx y\nb\nf\nnew\nsub/\n"
                  "b is locked until you unlock it or leave\n"
                  "new");
    EXPECT_TRUE(lockTokens(server).empty());
    shell.input = "ls none\nfoo\nexit\nls\n";
    EXPECT_EQ(support::run(shell).exitCode, 3);
    EXPECT_EQ(support::run(shell).output, "");
}

TEST_F(Writing, theShellAtATerminal) {
    const support::Apache server;
    server.addMember("a b", "old");
    support::RunningProcess shell(command({"shell", server.url()}), support::Streams::terminal);
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
