// tree, find, du and ls -R on awkward names, and on what cannot be read.
#include <fmt/format.h>

#include "tests/cli/program.hpp"
#include "tests/support/scripted_server.hpp"

namespace quillon::cli {
namespace {

using support::Answer;

class Looking : public ProgramTest {};

TEST_F(Looking, treesAreDrawnSearchedAndSummedUp) {
    const Apache server;
    const std::string url = server.url();
    server.addCollection("sub");
    server.addCollection("sub/100% \xC3\xA9");
    server.addMember("sub/100% \xC3\xA9/big.BIN", std::string(5000, 'x'));
    addOldMember(server, "sub/old [x]", "12345");
    server.addMember("z\n", "1");
    const std::string inner = url + "sub/100%25%20%c3%a9/";
    expect({{{"tree", url},
             0,
             url + "\n├── sub/\n│   ├── 100% \xC3\xA9/\n│   │   └── big.BIN\n│   └── old [x]\n"
                   "└── z\\x0A\n\n2 collections, 3 files\n"},
            {{"tree", "-d", "-L", "1", url}, 0, url + "\n└── sub/\n\n1 collection\n"},
            {{"find", "--iname", "*.bin", url}, 0, inner + "big.BIN\n"},
            {{"find", "--name", "*.bin", url}, 0, ""},
            {{"find", "--older-than", "30m", "--type", "f", url}, 0, url + "sub/old%20%5bx%5d\n"},
            {{"find", "--size", "+1", "--size", "-1K", url}, 0, url + "sub/old%20%5bx%5d\n"},
            {{"find", "-0", "--max-depth", "1", "--newer", "30m", "--type", "f", url},
             0,
             url + "z%0a" + std::string(1, '\0')},
            {{"find", url + "z%0a"}, 0, url + "z%0a\n"},
            {{"find", "--size", "x", url}, 2, "Say a size as in"},
            {{"find", url + "none"}, 3, "no collection"},
            {{"du", url}, 0, "5000\t" + inner + "\n5005\t" + url + "sub/\n5006\t" + url + "\n"},
            {{"du", "-hs", url + "sub", url + "z%0a"},
             0,
             "4.9 KiB\t" + url + "sub/\n1 B\t" + url + "z%0a\n"},
            {{"du", "--json", "-d1", inner},
             0,
             "{\"path\":\"\",\"url\":\"" + inner +
                 "\",\"size\":5000,\"files\":1,\"collections\":0,\"complete\":true}\n"}});
}

TEST_F(Looking, whatCannotBeReadIsToldAndTheRestGoesOn) {
    support::ScriptedServer server;
    const auto member = [](const std::string& href, const std::string& properties) {
        return "<D:response><D:href>" + href + "</D:href><D:propstat><D:prop>" + properties +
               "</D:prop><D:status>HTTP/1.1 200 OK</D:status></D:propstat></D:response>";
    };
    const std::string collection = "<D:resourcetype><D:collection/></D:resourcetype>";
    const auto listing = [&](const std::string& members) {
        return Answer::xml(207, "<D:multistatus xmlns:D=\"DAV:\">" + members + "</D:multistatus>");
    };
    server
        .on("PROPFIND", "/c/",
            listing(member("/c/", collection) + member("/c/a%1b%5b2J/", collection) +
                    member("/c/b/", collection)))
        .on("PROPFIND", "/c/a%1b%5b2J/", Answer(403))
        .on("PROPFIND", "/c/b/",
            listing(member("/c/b/", collection) +
                    member("/c/b/f%9b", "<D:getcontentlength>7</D:getcontentlength>")));
    const std::string url = server.url() + "c/";
    const std::string file = url + "b/f%9b\n";
    for (const auto& [arguments, told] : std::vector<std::pair<Arguments, std::string>>{
             {{"find", url, "--type", "f"}, file},
             {{"du", url}, "0\t" + url + "a%1b%5b2J/\n7\t" + url + "b/\n7\t" + url + "\n"},
             {{"tree", url}, "[not all could be read]\n└── b/\n"}}) {
        const support::Outcome outcome = quillon(arguments);
        EXPECT_EQ(outcome.exitCode, 1) << outcome.errors;
        EXPECT_NE(outcome.output.find(told), std::string::npos) << outcome.output;
        EXPECT_NE(outcome.errors.find("cannot list"), std::string::npos);
        EXPECT_EQ(answered(arguments, {}).output.find_first_of("\x1B\x9B"), std::string::npos);
    }
}

TEST_F(Looking, collectionsAreListedInEveryOrderAndDepth) {
    const Apache server;
    const std::string url = server.url();
    server.addCollection("b c");
    server.addMember("b c/.dot", "");
    server.addMember("b c/inner", "12");
    addOldMember(server, "old", "12345");
    server.addMember("new", "1");
    const std::string listed = url + ":\nb c/\nnew\nold\n\n" + url + "b%20c/:\ninner\n";
    const std::string both = url + "b%20c/:\ninner\n\nold\n";
    expect({{{"ls", "-R", url}, 0, listed},
            {{"ls", url + "b c", url + "old"}, 0, both},
            {{"ls", "-1S", url}, 0, "old\nnew\nb c/\n"},
            {{"ls", "-Sr", url}, 0, "b c/\nnew\nold\n"},
            {{"ls", url, url + "none"}, 3, "no collection"},
            {{"ls", "-t", "-S", url}, 2, "do not go together"}});
    EXPECT_EQ(quillon({"ls", "-tr", url}).output.substr(0, 4), "old\n");
    EXPECT_EQ(quillon({"ls", "-l", "--bytes", url + "old"}).output.substr(0, 3), "5  ");
    EXPECT_EQ(quillon({"ls", "-lh", url + "old"}).output.substr(0, 3), "5 B");
    tells({"ls", "-R", "--json", url}, 0, {"{\"path\":\"b c/inner\",\"name\":\"inner\""});
    tells({"find", "--json", url + "old"}, 0, {"{\"path\":\"\",\"name\":\"old\""});
    support::Command coloured = command({"ls", url});
    coloured.environment.insert_or_assign("TERM", "xterm");
    coloured.environment.insert_or_assign("LS_COLORS", "di=32:*ld=35:*w=\x1B[2J");
    support::RunningProcess shown(coloured, support::Streams::terminal);
    EXPECT_EQ(shown.wait()->output, "\x1B[32mb c/\x1B[0m  new   \x1B[35mold\x1B[0m\r\n");
}

TEST_F(Looking, whatAServerTellsTooMuchIsLookedAtInItsPlace) {
    support::ScriptedServer server;
    const std::string paths[] = {"/c/s/t/f", "/c/s/t/", "/c/s/f", "/c/s/", "/c/f", "/c/"};
    // All that is in it, at any depth, the innermost first; behind a proxy under another path.
    for (const std::string above : {"", "/inner"}) {
        for (const std::string& path : paths) {
            server.on("GET", path, Answer(200, path));
            std::string told;
            for (const std::string& each : paths) {
                if (!each.starts_with(path)) continue;
                told += "<D:response><D:href>" + above + each + "</D:href><D:propstat><D:prop>" +
                        (each.ends_with('/')
                             ? "<D:resourcetype><D:collection/></D:resourcetype>"
                             : fmt::format("<D:getcontentlength>{}</D:getcontentlength>",
                                           each.size())) +
                        "</D:prop><D:status>HTTP/1.1 200 OK</D:status></D:propstat></D:response>";
            }
            server.on(
                "PROPFIND", path,
                Answer::xml(207, "<D:multistatus xmlns:D=\"DAV:\">" + told + "</D:multistatus>"));
        }
        const std::string url = server.url() + "c/";
        expect({{{"ls", url}, 0, "f\ns/\n"},
                {{"du", "-s", url + "s/"}, 0, "14\t" + url + "s/\n"},
                {{"find", "--type", "f", url}, 0, url + "f\n" + url + "s/f\n" + url + "s/t/f\n"},
                {{"get", "-r", "--no-memory", url}, 0, ""}});
        EXPECT_EQ(support::readFile(work / "c/f"), "/c/f");
        EXPECT_EQ(support::readFile(work / "c/s/f"), "/c/s/f");
        EXPECT_EQ(support::readFile(work / "c/s/t/f"), "/c/s/t/f");
        std::filesystem::remove_all(work / "c");
    }
    // A list of nothing, or of a member, is no empty collection, like which --delete would make the
    // folder.
    server.on("PROPFIND", "/e/", Answer::xml(207, "<D:multistatus xmlns:D=\"DAV:\"/>"));
    for (const char* path : {"/f/", "/f"}) {
        server.on("PROPFIND", path,
                  Answer::properties("/f", "<getcontentlength>1</getcontentlength>"));
    }
    expect({{{"ls", server.url() + "e/"}, 7, ""},
            {{"ls", server.url() + "f/"}, 1, "a file, not"},
            {{"ls", server.url() + "f"}, 0, "f\n"}});
}

TEST_F(Looking, contentsAreWrittenWholeOrInParts) {
    const Apache server;
    const std::string url = server.url();
    std::string lines;
    for (int i = 0; i < 20'000; ++i) lines += "line " + std::to_string(i) + "\n";
    const std::string bytes("a\0b\n\xFF", 5);
    server.addMember("log [1]", lines);
    server.addMember("raw", bytes);
    server.addMember("empty", "");
    server.addCollection("sub");
    const std::string log = url + "log [1]", raw = url + "raw";
    expect({{{"cat", raw, url + "empty", raw}, 0, bytes + bytes},
            {{"head", "-n2", log}, 0, "line 0\nline 1\n"},
            {{"head", "-c", "8", log}, 0, "line 0\nl"},
            {{"tail", "-n", "2", log}, 0, "line 19998\nline 19999\n"},
            {{"tail", "-n", "15000", log}, 0, lines.substr(lines.find("line 5000\n"))},
            {{"tail", "-n", "1M", log}, 0, lines},
            {{"tail", "-n1", raw}, 0, "\xFF"},
            {{"tail", "-c", "1K", raw}, 0, bytes},
            {{"tail", url + "empty"}, 0, ""},
            {{"head", "-c1", url + "empty"}, 0, ""},
            {{"head", "-c1", raw, raw}, 0, "==> " + raw + " <==\na\n==> " + raw + " <==\na"},
            {{"head", "-n", "x", raw}, 2, "no number"},
            {{"tail", url + "sub"}, 1, "This is a collection"},
            {{"cat", url + "none"}, 3, "cannot fetch"},
            {{"df", url}, 1, "tells no quota"}});
    server.addCollection("names");
    server.addMember("names/caf%e9", "1");
    server.addMember("names/caf\xE9", "2");
    expect({{{"ls", url + "names/"}, 0, "caf%e9\ncaf\xE9\n"},
            {{"cat", url + "names/caf\\xE9", url + "names/caf%25e9"}, 0, "21"}});
    // What memory shall not hold comes twice.
    const std::string large = "1\n2\n" + std::string(9 << 20, 'x') + "\ny";
    server.addMember("large", large);
    expect({{{"tail", "-n3", url + "large"}, 0, large.substr(2)},
            {{"tail", "-n2", url + "large"}, 0, large.substr(4)},
            {{"tail", "-n9", url + "large"}, 0, large}});
    server.clearTranscript();
    expect({{{"tail", "-c", "5", log}, 0, "9999\n"}});
    EXPECT_EQ(server.transcript(), "GET /log [1] 206\n");
}

TEST_F(Looking, partsAreTakenFromServersThatGiveNone) {
    support::ScriptedServer server;
    const std::string url = server.url() + "c/f";
    server.on("GET", "/c/f", Answer(200, "one\ntwo\n").endless());
    expect({{{"head", "-n1", url}, 0, "one\n"}, {{"head", "-c9", url}, 0, "one\ntwo\no"}});
    server.on("GET", "/c/f", Answer(200, "one\ntwo\nx"));
    expect({{{"tail", "-n2", url}, 0, "two\nx"}, {{"tail", "-c3", url}, 0, "o\nx"}});
    const Answer other = Answer(206, "12345").with("Content-Range", "bytes 4-8/20");
    server.on("GET", "/c/f", other);
    for (const char* command : {"head", "tail"}) {
        expect({{{command, "-c5", url}, 7, "another part"}});
        EXPECT_EQ(quillon({command, "-c5", url}).output, "");
    }
    server.on("PROPFIND", "/c/",
              Answer::properties("/c/",
                                 "<quota-available-bytes>3072</quota-available-bytes>"
                                 "<quota-used-bytes>1024</quota-used-bytes>"));
    const std::string collection = server.url() + "c/";
    expect({{{"df", "-h", collection},
             0,
             "   Size     Used  Available  Use%  URL\n4.0 KiB  1.0 KiB    3.0 KiB   25%  " +
                 collection + "\n"},
            {{"df", "--json", collection},
             0,
             "{\"url\":\"" + collection + "\",\"used\":1024,\"available\":3072}\n"}});
}

}  // namespace
}  // namespace quillon::cli
