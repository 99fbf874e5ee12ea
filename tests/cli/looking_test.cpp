// tree, find, du and ls -R on awkward names, and on what cannot be read.
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
        support::RunningProcess shown(command(arguments), support::Streams::terminal);
        EXPECT_EQ(shown.wait()->output.find_first_of("\x1B\x9B"), std::string::npos);
    }
}

}  // namespace
}  // namespace quillon::cli
