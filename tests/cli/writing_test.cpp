// The writing commands against a real server; tests/interoperability.py shows that they work.
#include <algorithm>
#include <numeric>
#include <sstream>

#include "tests/cli/writing.hpp"

namespace quillon::cli {
namespace {

// The transcript; what is asked at the same time ends in any order, so these lines are sorted.
// Apache may note a LOCK itself behind what followed it at once.
std::string sortedWithin(const std::string& transcript,
                         std::initializer_list<std::pair<std::size_t, std::size_t>> stretches) {
    std::istringstream input(transcript);
    std::vector<std::string> lines;
    for (std::string line; std::getline(input, line);) lines.push_back(line + '\n');
    for (const auto& [from, to] : stretches)
        if (to <= lines.size()) std::sort(lines.begin() + from, lines.begin() + to);
    return std::accumulate(lines.begin(), lines.end(), std::string());
}

TEST_F(Writing, requestsOfAnEdit) {
    addOldMember(server, "a", "old");
    editWith("echo >> \"$1\"");
    expect({{{"edit", url + "a"}, 0, ""}});
    // Before the lock, and under it.
    EXPECT_EQ(sortedWithin(server.transcript(), {{0, 4}, {4, 9}}),
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
    // What went without a lock is known again by its content.
    expect({{{"put", "--force", "f", url}, 0, ""}, {{"put", "f", url}, 0, ""}});
    expect({{{"put", "--force", "f", url}, 0, ""}});
    std::filesystem::resize_file(server.documentRoot() / "f", 255 << 20);
    expect({{{"put", "f", url}, 6, "nothing was overwritten"}});
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
    EXPECT_EQ(sortedWithin(server.transcript(), {{1, 3}, {5, 7}}),
              "PROPFIND /f 207\nLOCK /f 200\nPROPFIND /f 207\nPUT /f 204\nPROPFIND /f 207\n"
              "PROPFIND / 207\nUNLOCK /f 204\n");
    pipe("echo small |", "- " + url + "new", 0);
    EXPECT_EQ(content(server, "new"), "small\n");
    pipe("", "- " + url + "new < .", 8);
    pipe("", "a " + url, 2);
    EXPECT_EQ(content(server, "new"), "small\n");
}

TEST_F(Writing, whatIsLargeIsNotFetchedBehindItsStore) {
    for (const char* content : {"x", "y"}) {
        server.clearTranscript();
        writeFile(work / "large", std::string(3 << 20, *content));
        expect({{{"put", "large", server.url()}, 0, ""}});
        EXPECT_EQ(server.transcript().find("GET"), std::string::npos) << server.transcript();
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
            {{"put", ".", url}, 2, "This is a directory. Use -r"},
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
