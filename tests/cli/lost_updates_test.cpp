// Nobody's work is overwritten: conflicts, locks, and what a killed edit leaves.
#include <fmt/format.h>
#include <sys/xattr.h>

#include <csignal>
#include <future>

#include "tests/cli/writing.hpp"

namespace quillon::cli {
namespace {

using LostUpdates = Writing;

// What others stored while the editor was open stays, and so does what the person wrote.
TEST_F(LostUpdates, conflictsLoseNothing) {
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
TEST_F(LostUpdates, aFileRemembersWhereItCameFrom) {
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
    writeFile(home / "state/quillon/notes.db", "damaged");
    writeFile(work / "b", "old");
    expect({{{"get", server.url() + "a", "b"}, 0, "", "are damaged, and are kept as"},
            {{"get", server.url() + "a", "b"}, 0, "", ""}});
}

TEST_F(LostUpdates, aLockIsRespectedUntilItIsRemoved) {
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
TEST_F(LostUpdates, aLockOfOnesOwnKeepsOthersOutAlone) {
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
    // So do those in a collection, of which each is asked for; what somebody else locked stays.
    const Arguments trees[] = {{"rm", "-r", "-y", url + "c/"},
                               {"rmcol", "-r", url + "c"},
                               {"mv", url + "c/", url + "d/"},
                               {"mv", url + "c", "d"}};
    for (const Arguments& arguments : trees) {
        SCOPED_TRACE(testing::PrintToString(arguments));
        ASSERT_EQ(quillon({"mkcol", "-p", url + "c/ü/"}).exitCode, 0);
        for (const char* name : {"c/ü/f", "c/g"}) quillon({"lock", url + name});
        const auto own = home / "state", aside = home / "aside";
        std::filesystem::rename(own, aside);
        const std::string others = quillon({"lock", url + "c/o"}).output;
        std::filesystem::remove_all(own);
        std::filesystem::rename(aside, own);
        const support::Outcome refused = quillon(arguments);
        expect(refused, 5, url + "c/o: locked by");
        EXPECT_EQ(refused.errors.find("your own"), std::string::npos) << refused.errors;
        EXPECT_EQ(notes(), 2);
        EXPECT_EQ(lockTokens(server, "", "/c/").size(), 2u);
        expect({{{"unlock", url + "c/o", "--token", others.substr(0, others.find('\n'))}, 0, ""},
                {arguments, 0, ""}});
        EXPECT_EQ(notes(), 0);
        EXPECT_FALSE(std::filesystem::exists(server.documentRoot() / "c"));
        EXPECT_EQ(std::filesystem::remove_all(server.documentRoot() / "d") > 0,
                  arguments[0] == "mv");
    }
    // More of them than a request carries keep it.
    ASSERT_EQ(quillon({"mkcol", url + "c"}).exitCode + quillon({"lock", url + "c/f"}).exitCode, 0);
    for (int n = 0; n < 64; ++n) {
        writeFile(home / "state/quillon/locks" / std::to_string(n),
                  fmt::format("url {}c/{}\ntoken t:{}\nkind kept\n", url, n, n));
    }
    expect({{{"rm", "-r", "-y", url + "c/"}, 5, "A lock of your own is in it"},
            {{"mv", url + "c/", url + "d/"}, 5, "A lock of your own is in it"}});
    EXPECT_EQ(notes(), 65);
    expect({{{"unlock", url + "c/f", "--mine"}, 0, ""}, {{"rm", "-r", "-y", url + "c/"}, 0, ""}});
    EXPECT_EQ(notes(), 0);
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
TEST_F(LostUpdates, aLockOfOnesOwnIsNotForTwoAtOnce) {
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
    tells({"info", a}, 0, {"did not store"});
    EXPECT_EQ(lockTokens(server).size(), 1u);
    expect(quillon({"put", "--force", "a", a}), 0, "");
    expect(quillon({"unlock", "--mine", a}), 0, "");
}

TEST_F(LostUpdates, oneOfTheMakersOfANameWins) {
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

// The editor goes on in vain; its text and the lock are all that is left.
TEST_F(LostUpdates, whatAKilledEditLeftIsTold) {
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

TEST_F(LostUpdates, aKilledEditsCacheGoesWhenNobodyWorksThere) {
    server.addMember("a", "old ");
    const std::string a = url + "a";
    const std::filesystem::path cache = home / "cache/quillon";
    for (const bool changed : {false, true}) {
        const std::string change = changed ? "printf mine >> \"$1\"; " : "";
        editWith(change + "echo editing $$.; exec sleep 1000 >&- 2>&-");
        support::RunningProcess program(command({"edit", a}));
        ASSERT_TRUE(program.expect("."));
        makeOld(cache);
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

}  // namespace
}  // namespace quillon::cli
