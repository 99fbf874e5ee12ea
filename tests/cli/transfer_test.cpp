// cp, mv and rm -r on one server and between two, and what may go wrong on the way.
#include <fmt/format.h>

#include "tests/cli/program.hpp"
#include "tests/support/scripted_server.hpp"

namespace quillon::cli {
namespace {

using support::Answer;

const std::string oddNames[] = {"a b%[x]*\xC3\xBC.txt", "dots..", "q?#.txt", "empty"};
const std::string taken = "Something has this name there already";

class Transfers : public ProgramTest {
protected:
    Transfers() {
        for (const std::string folder : {"src", "src/sub", "src/sub/none", "dst"})
            server.addCollection(folder);
        for (const std::string& name : oddNames) {
            server.addMember("src/" + name, name == "empty" ? "" : name);
        }
        server.addMember("src/sub/f", std::string(3 << 20, 'f'));
        whole = tree(server, "src");
    }
    // Of a tree, as "path=size" or "path/".
    static Names tree(const std::filesystem::path& root) {
        Names found;
        std::error_code none;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(root, none)) {
            const std::string path = entry.path().lexically_relative(root);
            if (path.find(".DAV") != path.npos) continue;
            found.insert(entry.is_directory() ? path + "/"
                                              : fmt::format("{}={}", path, entry.file_size()));
        }
        return found;
    }
    Names tree(const Apache& of, const char* path) const { return tree(of.documentRoot() / path); }

    const Apache server;
    const Apache other{{.authentication = Authentication::digest}};
    const std::string url = server.url();
    const std::string src = url + "src/", dst = url + "dst/";
    Names whole;  // what src holds
};

TEST_F(Transfers, onOneServer) {
    const std::string& name = oddNames[0];
    const std::string locked = quillon({"lock", dst + "q?#.txt"}).output;
    std::filesystem::remove_all(home / "state/quillon/locks");  // now it is somebody else's
    server.addMember("src/one", "1");
    server.addMember("dst/two", "2");
    expect({{{"cp", src + name, src + "dots..", dst}, 0, ""},
            {{"cp", src + name, dst}, 1, taken},
            {{"cp", src + "one", dst + "two"}, 1, taken},
            {{"get", dst + "two", "-"}, 0, "2"},
            {{"cp", "--force", src + "one", dst + "two"}, 0, ""},
            {{"get", dst + "two", "-"}, 0, "1"},
            {{"cp", src + "q?#.txt", dst}, 5, "locked by"},
            {{"mv", src + "q?#.txt", dst}, 5, "locked by"},
            {{"cp", src, dst}, 2, "-r copies it"},
            {{"cp", "-r", src, src + "sub/"}, 2, "into itself"},
            {{"cp", src + "one", src + "one"}, 2, "are the same"},
            {{"cp", src + "one", url + "none/"}, 3, "mkcol -p"},
            {{"cp", src + "one", src + "empty", url + "none/"}, 3, "mkcol -p"},
            {{"cp", src + "none", dst}, 3, "nothing of this name"},
            {{"mv", src + "one", src + "empty", url + "dst"}, 2, "end its URL with a slash"},
            {{"mv", "--force", src + "one", "two"}, 2, "takes no --force"},
            {{"mv", src + "one", "c/a"}, 2, "URL"},
            {{"cp", "--dry-run", "-r", src, dst}, 0, fmt::format("copy {}\n", src)},
            {{"cp", "-r", src, dst}, 0, ""},
            {{"cp", "-r", src, dst}, 1, taken},
            {{"rm", dst + "src/dots.."}, 0, ""},
            {{"mv", "--force", src + "sub", dst + "src/"}, 1, "--force does not replace"},
            {{"cp", "--force", src + "one", dst + "src/sub"}, 0, ""},  // into it
            {{"cp", "-r", "--force", src, dst}, 0, ""},
            {{"rm", dst + "src/sub/one"}, 0, ""},
            {{"rm", dst + "src/one"}, 0, ""}});
    EXPECT_EQ(tree(server, "dst/src"), whole);
    expect({{{"unlock", dst + "q?#.txt", "--token", locked.substr(0, locked.size() - 1)}, 0, ""},
            {{"cp", "--match", "*.txt", src, dst + "src/sub/none/"}, 0, ""},
            {{"mv", "--match", "tw*", dst, dst + "src/"}, 0, ""},
            {{"ls", dst + "src/sub/none/"}, 0, oddNames[0] + "\nq?#.txt\n"},
            {{"mv", dst + "src/sub/f", dst + "src/" + name, url + "dst/"}, 1, taken},
            {{"mv", dst + "src/sub", url + "moved"}, 0, ""},
            {{"ls", url}, 0, "dst/\nmoved/\nsrc/\n"}});
}

TEST_F(Transfers, betweenTwoServers) {
    writeFile(home / "netrc", "machine 127.0.0.1 login demo password \"open sesame: 100%\"\n");
    std::filesystem::permissions(home / "netrc", std::filesystem::perms::owner_all);
    const std::string there = other.url();
    expect({{{"cp", "-r", src, there}, 0, ""},
            {{"cp", "-r", src, there}, 1, taken},
            {{"cp", src + "empty", there + "src/dots.."}, 1, taken}});
    EXPECT_EQ(tree(other, "src"), whole);
    EXPECT_EQ(localFiles(), Names{});
    support::writeFile(other.documentRoot() / "src/dots..", "another");
    expect({{{"cp", "-r", "--force", "--quiet", src, there}, 0, ""},
            {{"get", there + "src/dots..", "-"}, 0, "dots.."},
            {{"mv", src, there + "moved"}, 0, ""}});
    EXPECT_EQ(tree(other, "moved"), whole);
    EXPECT_EQ(tree(server, "src"), Names{});
    EXPECT_FALSE(std::filesystem::exists(server.documentRoot() / "src"));
    expect({{{"rm", "-r", there + "moved"}, 2, "with 5 members in 3 collections"},
            {{"rm", "-r", "--yes", url}, 2, "root"},
            {{"rm", there + "moved"}, 1, "Use rmcol"},
            {{"rm", "--match", "*.txt", there + "moved"}, 0, ""},
            {{"rm", "--match", "*.txt", there + "moved"}, 3, "None of its members"},
            {{"rm", "-r", "--dry-run", there + "moved/sub"},
             0,
             fmt::format("delete {0}moved/sub/\ndelete {0}moved/sub/f\n"
                         "delete {0}moved/sub/none/\n",
                         there)},
            {{"rm", "-r", "--yes", "--json", there + "moved/empty", there + "moved"},
             0,
             fmt::format("{{\"event\":\"deleted\",\"path\":\"{0}moved/empty\"}}\n"
                         "{{\"event\":\"deleted\",\"path\":\"{0}moved/\"}}\n",
                         there)},
            {{"ls", there}, 0, "src/\n"}});
}

// The source's server; the destination is an Apache.
class BadSource : public ProgramTest {
protected:
    BadSource() {
        source.on("PROPFIND", "/c/f", Answer::properties("/c/f", "<getetag>\"1\"</getetag>"));
    }
    support::ScriptedServer source;
    const Apache server;
    const std::string f = source.url("c/f");
};

TEST_F(BadSource, whatBreaksOffIsNotStored) {
    const std::string large(3 << 20, 'x');
    const std::pair<Answer, const char*> rows[] = {
        {Answer(200, "content").truncatedAfter(6), "cannot"},
        {Answer(200, large).truncatedAfter(large.size() - 1), "cannot"},
        {Answer().replacedBy("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n7\r\ncontent"),
         "cannot"},
        {Answer(200, large).with("Content-Encoding", "gzip"), "coded"},
    };
    for (const auto& [answer, told] : rows) {
        source.on("GET", "/c/f", answer);
        expect({{{"cp", f, server.url()}, 7, told}, {{"mv", f, server.url()}, 7, told}});
        server.waitUntilIdle();  // it notices the end of a body later than the program does
        EXPECT_TRUE(std::filesystem::is_empty(server.documentRoot()));
    }
    // A page that answers in its place has another length.
    source.on("PROPFIND", "/c/f",
              Answer::properties("/c/f", "<getcontentlength>9</getcontentlength>"));
    for (const Answer& page : {Answer(200, "please wait"), Answer(200)}) {
        source.on("GET", "/c/f", page);
        for (const char* deed : {"cp", "mv"})
            expect({{{deed, f, server.url()}, 7, "Its length is not what the server told before"}});
    }
    EXPECT_TRUE(std::filesystem::is_empty(server.documentRoot()));
    // Nothing by its listing, and more than waits between the two servers.
    source
        .on("PROPFIND", "/c/f",
            Answer::properties("/c/f", "<getcontentlength>0</getcontentlength>"))
        .on("GET", "/c/f",
            Answer().replacedBy("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n300000\r\n" +
                                large + "\r\n0\r\n\r\n"));
    expect({{{"cp", f, server.url()}, 7, "longer than it was said to be"}});
    EXPECT_EQ(source.transcript().find("DELETE"), std::string::npos);
}

TEST_F(BadSource, whatWasChangedMeanwhileStays) {
    const Answer old = Answer(200, "old"), changed = Answer(200, "new");
    struct Case {
        std::vector<Answer> gets;
        Answer lock, removal;
        int exitCode;
        const char* told;
    };
    const Answer granted = Answer(200).with("Lock-Token", "<opaquelocktoken:1>");
    const auto tagged = [](const char* tag) { return Answer(200, "old").with("ETag", tag); };
    const Case cases[] = {
        {{tagged("\"1\"")}, Answer(405), Answer(204), 0, ""},
        {{tagged("\"1\"")}, Answer(405), Answer(412), 6, "changed it after it was copied"},
        {{tagged("\"0\"")}, Answer(405), Answer(204), 6, "changed it after it was copied"},
        {{tagged("\"1\"")}, Answer(405), Answer(423), 5, "holds a lock"},
        {{tagged("W/\"1\"")}, granted, Answer(204), 0, ""},
        {{old, changed}, granted, Answer(204), 6, "changed it after it was copied"},
        {{old, changed}, Answer(405), Answer(204), 6, "changed it after it was copied"},
        {{old}, Answer(423), Answer(204), 5, "holds a lock"},
        {{old}, Answer(405), Answer(204), 0, ""},  // and what it cannot notice is told
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(&each - cases);
        source.inTurn("GET", "/c/f", each.gets)
            .on("LOCK", "/c/f", each.lock)
            .on("UNLOCK", "/c/f", Answer(204))
            .on("DELETE", "/c/f", each.removal);
        source.clearRequests();
        expect({{{"mv", f, server.url()}, each.exitCode, each.told},
                {{"get", server.url("f"), "-"}, 0, "old"}});
        std::filesystem::remove(server.documentRoot() / "f");
        const std::string asked = source.transcript();
        const bool mayAsk = each.exitCode == 0 || asked.find("DELETE /c/f 4") != asked.npos;
        EXPECT_EQ(asked.find("DELETE") != asked.npos, mayAsk) << asked;
        const bool isLeft = asked.find("LOCK /c/f 200") != asked.npos && each.exitCode != 0;
        EXPECT_EQ(asked.find("UNLOCK") != asked.npos, isLeft) << asked;
    }
}

TEST_F(Transfers, theShellHasPatternsAndTheLocalSide) {
    writeFile(work / "-l 1.txt", "1");
    writeFile(work / "l2.txt", "2");
    std::filesystem::create_directory(work / "folder");
    writeFile(work / "folder/x", "x");
    const std::pair<const char*, std::pair<int, std::string>> rows[] = {
        {"cd dst\nput *.txt ./\nls\n", {0, "-l 1.txt\nl2.txt\n"}},
        {"cd dst\nrm [!-]*\nls\nrm -- -*\nls\n", {0, "-l 1.txt\n"}},
        {"cp src/*\\?*.txt src/sub/f dst/\nls dst\n", {0, "f\nq?#.txt\n"}},
        {"get '*' -\n", {3, "src"}},
        {"rm nothing*\n", {3, "No name matches nothing*"}},
        {"rm */x\n", {2, "Only the last part"}},
        {"cd src\ncd ../dst\ncd -\npwd\n", {0, src + "\n" + src + "\n"}},
        {"cd -\n", {2, "no collection before"}},
        {"lcd folder\nlls\n!echo \"$((1 + 1))\"; exit 3\nlpwd\n", {3, ""}},
        {"lcd folder\nlls\nlpwd\n!echo 2\n", {0, "x\n" + (work / "folder").string() + "\n2\n"}},
    };
    for (const auto& [lines, end] : rows) {
        SCOPED_TRACE(lines);
        expect(quillon({"shell", url}, lines), end.first, end.first == 0 ? end.second : "");
    }
    expect(quillon({"shell", url}, "open " + dst + "\npwd\n"), 0, dst + "\n");
    expect(quillon({"shell", url}, "encode\n"), 2, "no command");
    support::RunningProcess shell(command({"shell", url}), support::Streams::terminal);
    const std::pair<const char*, const char*> typed[] = {{"", "127.0.0.1/> "},
                                                         {"get --fo\t --help\n", "--force"},
                                                         {"help mv\n", "mv [OPTIONS]"},
                                                         {"ls | sort\n", "no | in this shell"},
                                                         {"put l2\tds\t\n", "stored l2.txt, 1 B"},
                                                         {"cp dst/l\t src/s\t\n", "/> "},
                                                         {"lcd fo\t\n", "/> "},
                                                         {"lls\n", "x"},
                                                         {"rm -r src/s\t\n", "[y/N] "},
                                                         {"y\n", "/> "},
                                                         {"\x04", ""}};
    for (const auto& [keys, shown] : typed) {
        shell.send(keys);
        ASSERT_TRUE(shell.expect(shown)) << keys << shell.output();
    }
    EXPECT_EQ(shell.wait()->exitCode, 0) << shell.output();
    EXPECT_EQ(content(server, "dst/l2.txt"), "2");
    EXPECT_FALSE(std::filesystem::exists(server.documentRoot() / "src/sub"));
}

}  // namespace
}  // namespace quillon::cli
