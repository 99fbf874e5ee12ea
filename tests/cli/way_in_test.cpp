// What opens a server beside a password that is typed. The secret is "geheim", wherever it is from.
#include <algorithm>
#include <fstream>

#include "tests/cli/program.hpp"
#include "tests/support/scripted_server.hpp"

namespace quillon::cli {
namespace {

using support::Answer;
using support::Request;
using support::ScriptedServer;
using support::Streams;

const Arguments geheim{"geheim", "Z2VoZWlt", "YW5uOmdl"};  // in base64, too

Answer whole(const Request& request) {
    if (request.method == "PROPFIND")
        return Answer::properties("/c/", "<resourcetype><collection/></resourcetype>");
    return Answer(200).with("DAV", "1").with("Allow", "GET, HEAD, OPTIONS, PROPFIND");
}

class WayIn : public ProgramTest {
protected:
    // The server lets in who sends this field.
    void letIn(const std::string& name, const std::string& value,
               const std::string& challenge = "Bearer") {
        server.on("*", "*", [=](const Request& request) {
            return request.field(name) == value ? whole(request) : Answer::challenge(challenge);
        });
    }
    void letInAnn() { letIn("Authorization", "Basic YW5uOmdlaGVpbQ==", "Basic realm=\"r\""); }
    // A program as the words of a command, that notes each of its runs.
    std::string tool(const std::string& script) const {
        writeFile(tools, "#!/bin/sh\necho >> '" + (work / "runs").string() + "'\n" + script);
        chmod(tools.c_str(), 0700);
        return "['" + tools + "', \"a 'b\"]\n";
    }
    size_t runs() const { return support::readFile(work / "runs").size(); }

    // As expect(), and not even by -vv the secret is told.
    void expectQuietly(const Row& row) const {
        expect({row});
        const auto loud = quillon(joined({"-vv"}, row.arguments));
        expectHidden(loud.output + loud.errors, geheim);
    }
    void expectOfSite(const std::string& text, int code, const std::string& told) const {
        writeSite("url = '" + url + "'\n" + text);
        expectQuietly({{"ls", "work:"}, code, told});
    }

    ScriptedServer server, other;
    const std::string url = server.url("c/"), tools = (work / "tool").string();
    const std::string stored = "work: is " + url + "\n", path = std::getenv("PATH");
};

TEST_F(WayIn, aPasswordComesFromACommand) {
    letInAnn();
    const std::string start = "user = 'ann'\npassword-command = ";
    const std::tuple<const char*, int, std::string> rows[] = {
        {"[ \"$1\" = \"a 'b\" ] && printf 'geheim\\r\\nmore\\n'; read line; sleep 300 &", 0, ""},
        {"echo geheim; echo why >&2; exit 3", 8,
         "why\nquillon: cannot list " + url + ":\n  " + tools +
             ", the password-command, failed with exit code 3."},
        {"echo geheim; kill $$", 8, "was ended by a signal."},
        {"yes geheim", 8, "prints too much."},
        {"echo; echo geheim", 8, "printed nothing."},
        {"printf 'geheim\\0more'", 8, "tool, the password-command, prints holds a NUL"},
        {"echo falsch", 4, "password"}};
    for (const auto& [script, code, told] : rows) expectOfSite(start + tool(script), code, told);
    expectOfSite(start + "['no such']", 8,
                 "no such, the password-command, cannot be run: No such file or directory.\n  The "
                 "program is a word by itself");
    tool("echo geheim");
    const std::string told = "work: is " + url + ", user ann\n";
    expect({{{"ls", "-ubob", "work:"}, 4, "password of bob is missing"},
            {{"login", "work", url, "--keyring", "--password-command", tools}, 2, "do not go tog"},
            {{"login", "work", url, "-uann", "--password-command", tools}, 0, told},
            {{"sites"}, 0, "work  " + url + "  ann  password by command\n"},
            {{"-v", "ls", "work:"}, 0, "", "what the password-command prints"}});
    server.on("HEAD", "*", whole);  // where everybody may read
    const Arguments wrong{"login", "work", url, "-uann", "--password-command", "echo falsch"};
    expect({{wrong, 4, "Nothing was stored."}});
    server.on("GET", "*", [this](const Request& request) {
        const std::string given{request.field("Authorization")};
        if (given.empty()) return Answer::challenge("Basic realm=\"r\"");
        return Answer(302).with("Location", other.url("c/?a=") + given.substr(6));
    });
    expectQuietly({{"cat", "work:f"}, 1, "c/?a=***"});
}

// With all that it started, also where that has lost its parent.
TEST_F(WayIn, aCommandThatDoesNotListenEndsWithUs) {
    writeSite(
        "url = '" + url + "'\nuser = 'ann'\npassword-command = " +
        tool("trap '' HUP INT TERM; (sleep 1000 & echo $! $$ > new); mv new pids; sleep 1000"));
    const std::tuple<Streams, std::vector<int>, int> rows[] = {
        {Streams::pipes, {SIGINT}, 130},
        {Streams::pipes, {SIGINT, SIGTERM}, 130},
        {Streams::terminal, {SIGINT, SIGINT}, 130},
        {Streams::terminal, {SIGKILL}, -1}};
    for (const auto& [streams, signals, code] : rows) {
        support::RunningProcess program(command({"ls", "work:"}), streams);
        ASSERT_TRUE(support::eventually([&] { return std::filesystem::exists(work / "pids"); }));
        for (const int number : signals) program.signal(number);
        EXPECT_EQ(program.wait()->exitCode, code);
        std::istringstream pids(support::readFile(work / "pids"));
        std::filesystem::remove(work / "pids");
        for (std::string pid; pids >> pid;) {  // what has ended has no words
            const auto words = "/proc/" + pid + "/cmdline";
            const auto gone = [&] { return std::ifstream(words).get() == EOF; };
            EXPECT_TRUE(support::eventually(gone)) << pid << testing::PrintToString(signals);
        }
    }
}

TEST_F(WayIn, aTokenComesFromAFileOrACommand) {
    letIn("Authorization", "Bearer geheim");
    writeFile(work / "token", "geheim\nmore\n");
    writeFile(work / "old", "alt");
    const std::string refused = "The server does not take the token.";
    expectQuietly({{"ls", "--token-file", "token", url}, 0, ""});
    expect(
        {{{"login", "work", url, "--token-file", "old"}, 4, refused},
         {{"login", "work", url, "--token-file", "token"}, 0, stored},
         {{"login", "work", url, "--token-file", "-"}, 8, "The standard input holds no token"},
         {{"ls", "--token-file", "old", "--auth=ntlm", url}, 2, "--token-file and --auth do not"},
         {{"ls", "--token-file", "old", "-uann", url}, 2, "token-file, which says who you are. Le"},
         {{"ls", "--auth=negotiate", "--password-file=old", url}, 2, "Leave --password-file out"},
         {{"ls", "--token-file", "token", "http://bob@h/"}, 2, "the user in the URL does not go"},
         {{"ls", "-uann", "http://bob@h/"}, 2, "--user does not go with another user in the URL"},
         {{"login", "work", "http://bob@h/", "--token-command=x"},
          2,
          "Leave the user in the URL out"},
         {{"ls", "-uann", "work:"}, 2, "--user does not go with the token of the site work"},
         {{"login", "work", url, "--token-file=old", "--token-command=x"}, 2, "and --token-com"},
         {{"ls", "--token-file", "old", "work:"}, 4, refused},
         {{"login", "work", url, "--token-command", "echo geheim 'a b'"}, 4, refused},
         {{"login", "work", url, "--token-command", "'echo' geheim"}, 0, stored},
         {{"sites", "work"}, 0, "url            " + url + "\ntoken-command  echo geheim\n"}});
    // One that is refused is asked for again, once.
    const std::string once = "test -e told && echo geheim || echo alt; echo > told";
    size_t before = 0;
    for (const auto& script : {once, std::string("echo alt"), std::string("date +%N")}) {
        writeSite("url = '" + url + "'\nuser = 'ann'\ntoken-command = " + tool(script));
        expect({{{"ls", "-uann", "work:"}, script == once ? 0 : 4, script == once ? "" : refused}});
        EXPECT_EQ(runs() - before, 2u) << script;
        before = runs();
    }
    // Two accounts are not mistaken for one.
    std::filesystem::copy(siteFile(), siteFile().parent_path() / "second.toml");
    writeSite("url = '" + url + "'\nuser = 'ann'\ntoken-command = ['echo', 'geheim']\n");
    expect(
        {{{"cp", "work:a", "second:b"}, 2, "The sites work and second are one server, for one"}});
    for (const auto& request : server.requests())
        EXPECT_TRUE(request.field("Authorization").starts_with("Bearer"));
}

TEST_F(WayIn, headersAndCookiesGoToTheirOriginAlone) {
    letIn("X-Gate", "geheim");
    other.on("*", "*", Answer(404));
    writeFile(work / "headers", "X-Gate: geheim\r\n\nX-More: 1\n");
    writeFile(work / "empty", "\n");
    expectQuietly({{"ls", "--header", "@headers", url}, 0, ""});
    expect(
        {{{"ls", "--header", "@empty", url}, 2, "empty holds no header"},
         {{"ls", "--header", "Host: geheim", url}, 2, "is Host, which every request has as it"},
         {{"ls", "--header", "X-A: 127.0", "http://127.0.0.1:1/"}, 7, "list http://127.0.0.1:1/"}});
    expectOfSite("headers-command = " + tool("echo X-Gate: geheim"), 0, "");
    expectOfSite("headers-command = " + tool("echo geheim"), 8, "headers-command, is no header");
    expectOfSite("headers-command = ['true']\n", 8, "headers-command, printed no header");
    expectOfSite("headers = ['X-Gate: geheim', 'X-Two: geheim']\n", 0, "");
    expectQuietly({{"sites", "work"}, 0, "url      " + url + "\nheaders  stored\n"});
    expect({{{"ls", "--header=x-GATE: no", "work:"}, 4, "by Bearer, but quillon knows only Basic"},
            {{"ls", "--header=authorization: no", url}, 4, "of yours gives as Authorization."},
            {{"ls", other.url("c/"), "work:"}, 3, ""},
            {{"ls", "--auth=ntlm", other.url("c/"), url}, 3, "is for the server of its first URL"},
            {{"ls", "http://ann:x@" + other.url("c/").substr(7), url}, 3, "server of its first"}});

    server.on("*", "/c/", [](const Request& request) {
        if (request.field("Cookie") == "id=geheim") return whole(request);
        return Answer(307).with("Set-Cookie", "id=geheim").with("Location", "/c/");
    });
    expectQuietly({{"ls", url}, 0, ""});
    expect({{{"ls", url, other.url("c/")}, 3, ""}});
    server.on("*", "*", Answer(307).with("Location", other.url("d/")));
    expect({{{"ls", "--header", "X-Gate: geheim", url}, 1, other.url("d/")}});
    for (const Request& request : other.requests())
        for (const char* name : {"X-Gate", "X-Two", "Cookie"}) EXPECT_EQ(request.field(name), "");
    EXPECT_EQ(other.transcript().find("/d/"), std::string::npos);
}

TEST_F(WayIn, secretsOfTheLineGoToTheServerOfItsFirstUrlAlone) {
    const auto hasSecret = [](const Request& request) {
        return request.fields.count("X-Gate") + request.fields.count("Authorization") > 0;
    };
    for (ScriptedServer* each : {&server, &other})
        each->on("*", "*", [=, this](const Request& request) {
            const bool isIn = each == &server && hasSecret(request);
            return isIn ? whole(request) : Answer::challenge("Basic realm=\"r\"");
        });
    writeFile(work / "secret", "geheim\n");
    const std::pair<Arguments, int> rows[] = {
        {{"ls"}, 4}, {{"ls", "ftp://h/"}, 2}, {{"cp"}, 4}, {{"mv"}, 4}, {{"__complete", "cp"}, 0}};
    for (const Arguments& kind : {Arguments{"-uann", "--password-file", "secret"},
                                  {"--token-file", "secret"},
                                  {"--header", "X-Gate: geheim"}}) {
        for (const auto& [words, code] : rows) {
            for (ScriptedServer* each : {&server, &other}) each->clearRequests();
            EXPECT_EQ(quillon(joined(joined(words, kind), {url, other.url("c/")})).exitCode, code);
            const bool isFirst = words == Arguments{"ls"};  // the others ask the second alone
            EXPECT_EQ(std::ranges::any_of(server.requests(), hasSecret), isFirst) << kind[0];
            EXPECT_FALSE(other.requests().empty()) << words[0] << kind[0];
            EXPECT_TRUE(std::ranges::none_of(other.requests(), hasSecret)) << words[0] << kind[0];
        }
    }
}

TEST_F(WayIn, aSocketStandsForHostAndPort) {
    const std::string socket = (home / "socket").string(), url_ = "http://no.invalid/headers";
    writeFile(work / "conf", "server.document-root = \"" + work.path().string() +
                                 "\"\nserver.bind = \"" + socket + "\"\nserver.port = 0\n");
    writeFile(work / "headers", "content");
    support::RunningProcess lighttpd({{"/usr/sbin/lighttpd", "-D", "-f", work / "conf"}});
    ASSERT_TRUE(support::eventually([&] { return std::filesystem::exists(socket); }));
    const std::string tooLong = work / std::string(108, 'x');
    writeSite("url = 'http://no.invalid/'\nunix-socket = '" + socket + "'\n");
    expect({{{"cat", "--unix-socket", socket, "--proxy", "http://127.0.0.1:1", url_}, 0, "content"},
            {{"cat", "--unix-socket", "conf", url_}, 8, "There is no socket conf."},
            {{"cat", "--unix-socket", tooLong, url_}, 8, "is too long for the name of a socket"},
            {{"cat", "work:headers"}, 0, "content"}});
    lighttpd.signal(SIGKILL);
    lighttpd.wait();
    expect({{{"cat", "work:headers"},
             7,
             "nobody answers at the socket " + socket +
                 ".\n  The server could not be reached. Check the path"}});
}

// A cloud whose ann has a password for programs, which its page gives to who asks.
class Cloud : public WayIn {
protected:
    Cloud() {
        letInAnn();
        for (const char* missing : {"/", "/c/", "/c/remote.php/dav/files/ann/none"})
            server.on("*", missing, Answer(404));
    }
    static Answer offer(const std::string& page, const std::string& endpoint) {
        return Answer(200, R"({"poll":{"token":"t0ken","endpoint":")" + endpoint +
                               R"("},"login":")" + page + "\"}");
    }
    const std::string answer = R"({"server":"x","loginName":"ann","appPassword":"geheim"})";
    const std::string folder = server.url("c/remote.php/dav/files/ann/");
    const std::string isAnns = "work: is " + folder + ", user ann\n";
};

TEST_F(Cloud, thePersonSignsInSomewhereElse) {
    const std::string page = server.url("p"), poll = server.url("q");
    const std::string noFlow = "There is no login by browser at";
    const std::string another = "which is another one and was sent nothing";
    const std::string notPlain = "names for this login is no plain URL";
    const Answer slow = Answer(200, answer).slowly(9, support::Duration(20));
    const Answer good = offer(page, poll), silent = Answer(200, answer).stalledAfter(9);
    const auto away = Answer(307).with("Location", other.url("q"));
    const std::tuple<Answer, std::vector<Answer>, int, std::string> rows[] = {
        {Answer(404), {}, 1, noFlow},
        {Answer::challenge("Basic"), {}, 1, noFlow},
        {Answer(200, std::string(200000, '[')), {}, 1, noFlow},
        {offer(page, other.url("q")), {}, 1, another},
        {offer(other.url("p"), poll), {}, 1, another},
        {offer(other.url().insert(7, "\\\\"), poll), {}, 1, notPlain},
        {offer(server.url().insert(7, "h@"), poll), {}, 1, notPlain},
        {offer(page, "//h/"), {}, 1, notPlain},
        {offer("p\\u001b[2J", poll), {}, 1, noFlow},
        {good, {Answer(403)}, 1, "403"},
        {good, {Answer(200, "[]")}, 7, "names no user"},
        {good, {Answer(404)}, 4, "Nobody signed in in time."},
        {good, {silent}, 7, "no byte"},
        {good, {away}, 1, other.url("q")},
        {good, {Answer(404), Answer(503), slow}, 0, isAnns}};
    for (const auto& [begun, polled, code, told] : rows) {
        server.on("POST", "/c/index.php/login/v2", begun);
        if (!polled.empty()) server.inTurn("POST", "/q", polled);
        const std::string seconds = code == 0 ? "30" : "2";
        const auto outcome =
            quillon({"-vv", "--timeout", seconds, "login", "work", url, "--browser"});
        expect(outcome, code, told);
        expectHidden(outcome.errors, {"geheim", "t0ken"});
        EXPECT_EQ(std::filesystem::exists(siteFile()), code == 0);
    }
    expect({{{"get", "work:none", "-"}, 3, ""}});
    EXPECT_EQ(other.transcript(), "");
    for (const Request& request : server.requests())
        EXPECT_EQ(request.body, request.target == "/q" ? "token=t0ken" : request.body);
}

// secret-tool keeps what it is given in a file here.
TEST_F(Cloud, aKeyringKeepsThePassword) {
    environment["PATH"] = work.path().string() + ":" + path;
    std::filesystem::create_symlink(tools, work / "secret-tool");
    writeFile(work / "password", "geheim\n");
    const Arguments keep{"login",           "work",     folder,     "-uann",
                         "--password-file", "password", "--keyring"};
    tool("case $1 in store) cat > ring;; lookup) cat ring;; clear) rm ring;; esac");
    expect({{keep, 0, isAnns},
            {{"get", "work:none", "-"}, 3, ""},
            {{"sites"}, 0, "work  " + folder + "  ann  password in the keyring\n"}});
    EXPECT_EQ(support::readFile(work / "ring"), "geheim");
    EXPECT_EQ(siteText().find("password = "), std::string::npos);
    const Arguments otherwise{"login", "work", "-uann", "--password-command", "echo geheim"};
    for (const Row& deed : {Row{{"logout", "work"}, 0, ""}, {otherwise, 0, isAnns}}) {
        expect({{keep, 0, isAnns}, deed});
        EXPECT_FALSE(std::filesystem::exists(work / "ring"));
    }
    const std::string open = server.url("c/open/");
    server.on("*", "/c/open/", whole);
    expect({{{"login", "work", open, "--keyring"}, 0, "work: is " + open + "\n", "keeps nothing"}});
    tool("exit 1");
    expect({{keep, 0, isAnns, "stored encrypted instead"}});
    writeSite("url = '" + url +
              "'\nuser = 'ann'\npassword-command = ['secret-tool', 'lookup', "
              "'application', 'quillon', 'site', 'work']\n");
    expect({{{"logout", "work"}, 0, "", "clear application quillon site work"}});
    // A user takes the place of what said so far who it is; a browser's is the only one.
    writeSite("url = '" + folder + "'\ntoken-command = ['echo', 'alt']\n");
    expect({{{"login", "work", "-uann", "--password-file", "password"}, 0, isAnns},
            {{"login", "work", "--browser", "-uann"}, 2, "Leave --user out"},
            {{"login", "work", "--browser", "--auth=ntlm"}, 2, "--auth and --browser do not go"}});
    EXPECT_EQ(siteText().find("token"), std::string::npos);
}

}  // namespace
}  // namespace quillon::cli
