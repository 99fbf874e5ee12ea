// What a person reads when something failed: what was attempted, what the server answered, and what
// to do next.
#include "tests/cli/program.hpp"

namespace quillon::cli {
namespace {

class Messages : public ProgramTest {
protected:
    const Apache server;
    const Apache secure{{.tls = true}};
    const std::string url = server.url();
    const std::string file = url + "file";
};

struct Told {
    Arguments arguments;
    int exitCode;
    std::vector<std::string> told;  // on either stream
    std::map<std::string, std::string> environment{};
};

TEST_F(Messages, nameTheCauseAndTheWayOut) {
    server.addMember("file", "x");
    server.addCollection("col");
    server.addCollection("col/sub");
    std::filesystem::create_directory(server.documentRoot() / "closed");
    writeFile(work / "a", "new");
    writeFile(home / "password", "pw\n");
    editWith("exit 3");
    expect({{{"login", "work", url}, 0, "work: is " + url + "\n"}});
    const std::string dead = support::localUrl(support::freePort(), ""), col = url + "col";
    const std::string isFile = file + " is a file, not a collection.";
    const Told cases[] = {
        {{"ls", url}, 7, {"that of $http_proxy.", "no_proxy names"}, {{"http_proxy", dead}}},
        {{"ls", "--proxy", "htp://h", url}, 2, {"--proxy: It cannot be read, or is of no kind"}},
        {{"ls", "--proxy", "http://h:99999", url}, 2, {"--proxy: It cannot be read"}},
        {{"ls", dead},
         7,
         {"server could not be reached"},
         {{"no_proxy", "*"}, {"http_proxy", url}}},
        {{"ls", "--ca-file", "a", secure.url()}, 8, {"authorities", "--ca-file"}},
        {{"ls", "https" + url.substr(4)}, 7, {"speaks plain http there"}},
        {{"ls", "http" + secure.url().substr(5)}, 7, {"its URL begins with https://"}},
        {{"ls", file + "/"}, 3, {isFile}},
        {{"shell", file}, 3, {isFile}},
        {{"get", "--match", "*", file}, 3, {isFile}},
        {{"put", "a", file + "/"}, 3, {isFile}},
        {{"put", "a", url + "no/no/"}, 3, {"no collection " + url + "no/no/", "mkcol -p"}},
        {{"edit", url + "no/a"}, 3, {"no collection " + url + "no/", "mkcol -p"}},
        {{"put", "a", url + "closed/"}, 7, {"500", "permission"}},
        {{"mkcol", file}, 1, {isFile}},
        {{"mkcol", "-p", file + "/x/y"}, 1, {isFile}},
        {{"mkcol", col}, 1, {"exists already"}},
        {{"rm", col}, 1, {"Use rmcol"}},
        {{"get", "--match", "*.pdf", url}, 3, {"cannot fetch members of", "matches *.pdf"}},
        {{"get", "--match", "*", col}, 0, {""}},
        {{"login", "more", file}, 3, {isFile, "Nothing was stored"}},
        {{"login", "http", url}, 2, {"URLs begin so"}},
        {{"login", url}, 2, {"name is missing"}},
        {{"ls", "--timeout", "x", url}, 2, {"--timeout: \"x\" is no number from 1 to 86400."}},
        {{"ls", url, "--timeout"}, 2, {"--timeout needs a value."}},
        {{"--user=", "ls", url}, 2, {"--user: its value is empty."}},
        {{"--header", "x", "ls", url}, 2, {"--header: What is given is no header"}},
        {{"ls", "--long=x", url}, 2, {"--long takes no value."}},
        {{"ls", "-u", "a", "-u", "b", url}, 2, {"--user may be given once."}},
        {{"ls", "-v", "http://127.0.0.1:1/"}, 7, {"0 requests, 0 round trips, 0 connections"}},
        {{"put", "-v", "a", col + "/"}, 0, {"stored a, ", " up, "}},
        {{"ls", "-vv", url}, 0, {"[App.WebDAV] PROPFIND " + url + " 207"}},
        {{"get", "--help"}, 0, {"(not with --directory)"}},
        {{"get", "-O", "none", file}, 2, {"--directory: \"none\" is no directory."}},
        {{"get", "-O", ".", "-o", "x", file}, 2, {"--output and --directory do not go together."}},
        {{"mv", file}, 2, {"mv needs a URL and where it goes"}},
        {{"ls", "work"}, 2, {"its URLs begin with work:"}},
        {{"info", file}, 0, {" 1 byte\n"}},
        {{"edit", file}, 8, {"code 3", file + ": nothing was stored"}},
        {{"lock", "-u", "ann", "--password-file", home / "password", file},
         0,
         {"opaquelocktoken"},
         {{"XDG_STATE_HOME", home / "theirs"}}},
        {{"rm", file}, 5, {"locked by ann, with quillon, until", "Somebody else"}},
        {{"rm", "-u", "ann", "--password-file", home / "password", file},
         5,
         {"locked by ann, with quillon, until", "a lock under your own name"}},
    };
    for (const auto& [arguments, exitCode, told, more] : cases)
        tells(arguments, exitCode, told, more);
    expect(quillon({"shell", url}, "get --match 'fi*'\n"), 0, "");
    EXPECT_EQ(support::readFile(work / "file"), "x");
    EXPECT_LT(quillon({"get", url + std::string(60'000, 'n')}).errors.size(), 1500u);
}

}  // namespace
}  // namespace quillon::cli
