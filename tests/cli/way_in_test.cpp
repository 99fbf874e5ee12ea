// What opens a server beside a password that is typed: commands, tokens, headers.
#include "tests/cli/program.hpp"
#include "tests/support/scripted_server.hpp"

namespace quillon::cli {
namespace {

using support::Answer;
using support::Request;
using support::ScriptedServer;

const Answer listing = Answer::xml(
    207,
    "<multistatus xmlns=\"DAV:\"><response><href>/c/</href><propstat><prop><resourcetype>"
    "<collection/></resourcetype></prop><status>HTTP/1.1 200 OK</status></propstat></response>"
    "</multistatus>");

Answer whole(const Request& request) {
    if (request.method == "OPTIONS")
        return Answer(200).with("DAV", "1").with("Allow", "GET, HEAD, OPTIONS, PROPFIND");
    return request.method == "PROPFIND" ? listing : Answer(200);
}

class WayIn : public ProgramTest {
protected:
    // A server lets in who sends this field.
    static void letIn(ScriptedServer& by, const std::string& name, const std::string& value) {
        by.on("*", "*", [=](const Request& request) {
            return request.field(name) == value ? whole(request)
                                                : Answer(401).with("WWW-Authenticate", "Bearer");
        });
    }
    void writeSite(const std::string& url, const std::string& text) const {
        std::filesystem::create_directories(home / "config/quillon/sites");
        writeFile(siteFile, "url = '" + url + "'\n" + text);
        chmod(siteFile.c_str(), 0600);
    }
    // A program as the words of a command, that notes each of its runs.
    std::string tool(const std::string& script) const {
        writeFile(work / "tool",
                  "#!/bin/sh\necho >> '" + (work / "runs").string() + "'\n" + script);
        chmod((work / "tool").c_str(), 0700);
        return "['" + (work / "tool").string() + "', \"a 'b\"]\n";
    }
    size_t runs() const {
        const auto file = work / "runs";
        return std::filesystem::exists(file) ? support::readFile(file).size() : 0;
    }
    // By -vv, which shows as much as there is to be shown.
    void expectNowhere(const Arguments& arguments, const std::vector<std::string>& secrets) const {
        Arguments loud = arguments;
        loud.insert(loud.begin(), "-vv");
        const auto outcome = quillon(loud);
        for (const std::string& secret : secrets) {
            EXPECT_EQ((outcome.output + outcome.errors).find(secret), std::string::npos)
                << outcome.errors;
        }
    }

    const std::filesystem::path siteFile = home / "config/quillon/sites/work.toml";
};

TEST_F(WayIn, aPasswordComesFromACommand) {
    const Apache server({.authentication = Authentication::basic, .account = {"ann", "a 'b"}});
    const std::string start = "user = 'ann'\npassword-command = ";
    writeSite(server.url(),
              start + tool("printf '%s\\r\\nmore\\n' \"$1\"; read line; sleep 300 &"));
    expect({{{"ls", "work:"}, 0, ""},
            {{"ls", "-ubob", "work:"}, 4, "password of bob is missing"},
            {{"ls", "--password-file", "none", "work:"}, 8, "password file none"}});
    EXPECT_EQ(runs(), 1u);
    EXPECT_NE(quillon({"-v", "ls", "work:"})
                  .errors.find("the password of ann is what the password-command prints"),
              std::string::npos);
    const std::pair<const char*, const char*> rows[] = {
        {"echo geheim; echo why >&2; exit 3", "why\nquillon: cannot list"},
        {"echo geheim; exit 3", "tool, the password-command, failed with exit code 3."},
        {"echo geheim; kill $$", "was ended by a signal."},
        {"yes geheim", "prints too much."},
        {"echo; echo geheim", "printed nothing."},
        {"echo geheim", ""}};
    for (const auto& [script, told] : rows) {
        writeSite(server.url(), start + tool(script));
        expect({{{"ls", "work:"}, *told == 0 ? 4 : 8, told}});
        expectNowhere({"ls", "work:"}, {"geheim", "Z2VoZWlt"});
    }
    tool("echo \"$1\"");
    const std::string words = (work / "tool").string() + " \"a 'b\"";
    expect({{{"login", "work", server.url(), "-uann", "--password-command", words},
             0,
             "work: is " + server.url() + ", user ann\n"},
            {{"ls", "work:"}, 0, ""},
            {{"sites"}, 0, "work  " + server.url() + "  ann  password by command\n"}});
    writeSite(server.url(), start + "['no-such-program']");
    expect({{{"ls", "work:"}, 8, "no-such-program, the password-command, cannot be run: No such"}});
}

TEST_F(WayIn, aTokenComesFromAFileOrACommand) {
    ScriptedServer server;
    const std::string url = server.url("c/");
    letIn(server, "Authorization", "Bearer geheim");
    writeFile(work / "token", "geheim\nmore\n");
    writeFile(work / "old", "alt");
    expect({{{"ls", "--token-file", "token", url}, 0, ""},
            {{"ls", "--token-file", "old", url}, 4, "The server does not take the token."},
            {{"ls", "-uann", "--token-file", "none", url}, 8, "none: No such file"}});
    for (const Request& request : server.requests()) {
        EXPECT_TRUE(request.field("Authorization").starts_with("Bearer")) << request.method;
    }
    expectNowhere({"ls", "--token-file", "token", url}, {"geheim"});

    // One that is refused is asked for again, once.
    writeSite(url,
              "token-command = " + tool("test -e told && echo geheim || echo alt; echo > told"));
    expect({{{"ls", "work:"}, 0, ""}});
    EXPECT_EQ(runs(), 2u);
    writeSite(url, "token-command = " + tool("echo alt"));
    expect({{{"ls", "work:"}, 4, "The server does not take the token."}});
    EXPECT_EQ(runs(), 4u);
    writeSite(url, "token-command = " + tool("date +%N"));
    expect({{{"ls", "work:"}, 4, "The server does not take the token."}});
    EXPECT_EQ(runs(), 6u);
    writeSite(url, "token-file = 'token'\n");
    std::filesystem::copy(work / "token", siteFile.parent_path());
    expect({{{"ls", "work:"}, 0, ""}, {{"ls", "--token-file", "old", "work:"}, 4, "the token"}});

    std::filesystem::remove(siteFile);
    tool("echo geheim");
    const std::string told = "work: is " + url + "\n", words = (work / "tool").string();
    const Arguments login{"login", "work", url, "--token-command", "'" + words + "' 'a b'"};
    const Arguments open{"login", "work", url, "--password-command", words};
    expect({{{"login", "work", url, "--token-file", "old"}, 4, "does not take the token"},
            {{"login", "work", url, "--token-file", "token"}, 0, told},
            {login, 0, told},
            {{"login", "work"}, 0, told},
            {{"sites", "work"},
             0,
             "url            " + url + "\ntoken-command  " + words + " 'a b'\n"}});
    const std::string text = support::readFile(siteFile);
    EXPECT_TRUE(text.ends_with("token-command = [\"" + words + "\", \"a b\"]\n")) << text;
    // Where nobody is asked for, no password can be given.
    server.on("*", "*", whole);
    expect({{{"login", "work", url, "--auth", "ntlm"}, 0, told}});
    expect({{open, 8, "password-command gives a password, and there is no user"}});
}

TEST_F(WayIn, twoAccountsAreNotMistakenForOne) {
    ScriptedServer server;
    const std::string url = server.url("c/");
    letIn(server, "Authorization", "Bearer geheim");
    writeSite(url, "token-command = ['echo', 'geheim']\n");
    const auto other = siteFile.parent_path() / "other.toml";
    std::filesystem::copy(siteFile, other);
    expect({{{"ls", "work:", "other:"}, 0, url + ":\n\n" + url + ":\n"}});
    writeFile(other, "url = '" + url + "'\ntoken-command = ['echo', 'alt']\n");
    expect({{{"cp", "other:a", "work:b"}, 2, "The sites work and other are one server, for one"},
            {{"ls", "other:"}, 4, "The server does not take the token."}});
}

TEST_F(WayIn, headersGoToTheirOriginAlone) {
    ScriptedServer server, other;
    const std::string url = server.url("c/");
    letIn(server, "X-Gate", "geheim");
    letIn(other, "X-Other", "anderes");
    const Arguments option{"--header", "X-Gate:  geheim"};
    const auto with = [&](Arguments words) {
        words.insert(words.end(), option.begin(), option.end());
        return words;
    };
    writeFile(work / "headers", "X-Gate: geheim\r\n\nX-More: 1\n");
    expect({{with({"ls", url}), 0, ""},
            {{"ls", "--header", "@headers", url}, 0, ""},
            {{"ls", "--header", "@none", url}, 2, "none: No such file"},
            {{"ls", "--header", "Host: geheim", url}, 2, "is Host, which every request has as it"},
            {with({"ls", url, other.url("c/")}), 1, "cannot list " + other.url("c/")}});
    writeSite(url, "headers = ['X-Gate: geheim', 'X-Two: anderes']\n");
    expect({{{"ls", "work:"}, 0, ""},
            {{"ls", "--header=x-GATE: no", "work:"}, 1, "Bearer"},
            {{"ls", other.url("c/"), "work:"}, 1, "cannot list " + other.url("c/")},
            {{"sites", "work"}, 0, "url      " + url + "\nheaders  stored\n"}});
    for (const Request& request : other.requests()) {
        EXPECT_EQ(request.fields.count("X-Gate") + request.fields.count("X-Two"), 0u);
    }
    expectNowhere({"ls", "work:"}, {"geheim", "anderes"});
    expectNowhere({"sites", "--json", "work"}, {"geheim", "anderes"});
    writeSite(url, "headers-command = " + tool("echo X-Gate: geheim"));
    expect({{{"ls", "work:"}, 0, ""}});
    expectNowhere({"ls", "work:"}, {"geheim"});
    writeSite(url, "headers-command = " + tool("echo geheim"));
    expect({{{"ls", "work:"}, 8, "the headers-command, is no header, such as"}});
    expectNowhere({"ls", "work:"}, {"geheim"});

    // A redirect to somebody else is not followed, and nobody sees a header among the processes.
    server.on("*", "*", Answer(307).with("Location", other.url("c/")));
    other.clearRequests();
    expect({{with({"ls", url}), 1, other.url("c/")}});
    EXPECT_EQ(other.transcript(), "");
    server.on("*", "*", Answer(200, "x").stalledAfter(0));
    server.clearRequests();
    support::RunningProcess program(command(with({"cat", server.url("c/f")})));
    EXPECT_TRUE(support::eventually([&] { return !server.requests().empty(); }));
    const std::string line =
        support::readFile("/proc/" + std::to_string(program.pid()) + "/cmdline");
    EXPECT_NE(line.find("X-Gate:  ******"), line.npos) << line;
}

TEST_F(WayIn, aSocketStandsForHostAndPort) {
    const std::string socket = (home / "socket").string();
    writeFile(work / "conf", "server.document-root = \"" + work.path().string() +
                                 "\"\nserver.port = 0\nserver.bind = \"" + socket + "\"\n");
    writeFile(work / "file", "content");
    const support::RunningProcess lighttpd(
        {.arguments = {"/usr/sbin/lighttpd", "-D", "-f", work / "conf"}});
    ASSERT_TRUE(support::eventually([&] { return std::filesystem::exists(socket); }));
    const std::string url = "http://nowhere.invalid/file", proxy = "http://127.0.0.1:1";
    const std::string tooLong = work / std::string(108, 'x');
    expect({{{"cat", "--unix-socket", socket, url}, 0, "content"},
            {{"cat", "--unix-socket", socket, "--proxy", proxy, url}, 0, "content"},
            {{"cat", "--unix-socket", "file", url}, 8, "There is no socket file."},
            {{"cat", "--unix-socket", tooLong, url}, 8, "is too long for the name of a socket"}});
    writeSite("http://nowhere.invalid/", "unix-socket = '" + socket + "'\n");
    expect({{{"cat", "work:file"}, 0, "content"}});
}

TEST_F(WayIn, cookiesAreTheOriginsOwn) {
    ScriptedServer server, other;
    letIn(other, "Cookie", "id=geheim");
    server.on("*", "*", [](const Request& request) {
        const bool known = request.field("Cookie") == "id=geheim";
        return known ? whole(request)
                     : Answer(307).with("Set-Cookie", "id=geheim").with("Location", "/c/");
    });
    expect({{{"ls", server.url("c/")}, 0, ""},
            {{"ls", server.url("c/"), other.url("c/")}, 1, "cannot list " + other.url("c/")}});
    expectNowhere({"ls", server.url("c/")}, {"geheim"});
}

}  // namespace
}  // namespace quillon::cli
