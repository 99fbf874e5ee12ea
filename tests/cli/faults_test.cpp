// Servers that fail or lie, a machine without room, and signals at any time.
#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <csignal>

#include "tests/cli/program.hpp"
#include "tests/support/scripted_server.hpp"

namespace quillon::cli {
namespace {

using support::Answer;

const std::string lockToken = "opaquelocktoken:9f2c7d10-6a1b-4c3d-8e5f-0a1b2c3d4e5f";
const std::string lastModified = "Mon, 06 Jan 2025 10:20:30 GMT";

Answer multistatus(const std::string& href, const std::string& displayName = "") {
    return Answer::xml(207, "<multistatus xmlns=\"DAV:\"><response><href>" + href +
                                "</href><propstat><prop><displayname>" + displayName +
                                "</displayname><getcontentlength>4</getcontentlength>" +
                                "<getlastmodified>" + lastModified +
                                "</getlastmodified><resourcetype>" +
                                (href.ends_with('/') ? "<collection/>" : "") +
                                "</resourcetype></prop><status>HTTP/1.1 200 OK</status>" +
                                "</propstat></response></multistatus>");
}

// Of a member that is there.
Answer tellNothing(const support::Request& request) {
    return Answer::xml(207, "<multistatus xmlns=\"DAV:\"><response><href>" + request.target +
                                "</href><propstat><prop/></propstat></response></multistatus>");
}

// Unless a test says otherwise, every name in a collection is a member with the content "old ";
// nothing is stored.
class Faults : public ProgramTest {
protected:
    Faults() {
        const Answer content =
            Answer(200, "old ").with("Last-Modified", lastModified).with("ETag", "\"1\"");
        const auto methods = "OPTIONS,HEAD,GET,PROPFIND,PUT,DELETE,LOCK,UNLOCK";
        server.on("OPTIONS", "/c/*", Answer(200).with("Allow", methods).with("DAV", "1,2"))
            .on("HEAD", "/c/*", content)
            .on("GET", "/c/*", content)
            .on("PROPFIND", "/c/*", [](const auto& request) { return multistatus(request.target); })
            .on("PUT", "/c/*", Answer(204))
            .on("LOCK", "/c/*", Answer(200).with("Lock-Token", "<" + lockToken + ">"))
            .on("UNLOCK", "/c/*", Answer(204));
        for (const char* name : {"a", "b", "c"}) writeFile(work / name, "new");
        editWith("printf mine >> \"$1\"");
    }

    long answered(std::string_view method) const {
        return std::ranges::count_if(server.requests(), [&](const auto& request) {
            return request.method == method && request.answered != 0;
        });
    }
    // Takes them away.
    void versionStays(const char* leftover = "") const {
        EXPECT_EQ(support::readFile(work / "file.mine"), "old mine");
        for (const std::string name : {"file.mine", leftover})
            EXPECT_TRUE(name.empty() || std::filesystem::remove(work / name)) << name;
    }
    void nothingStays() const {
        Names locked;
        for (const support::Request& request : server.requests()) {
            if (request.method == "LOCK" && request.answered == 200) locked.insert(request.target);
            if (request.method == "UNLOCK") locked.erase(request.target);
        }
        EXPECT_EQ(locked, Names{}) << server.transcript();
        EXPECT_EQ(localFiles(), (Names{"a", "b", "c"}));
        EXPECT_EQ(cacheDirectories(), Names{});
        EXPECT_EQ(support::readFile(work / "a"), "new");
    }
    static void endsBy(int number, support::RunningProcess& program) {
        program.signal(number);
        EXPECT_EQ(program.wait()->exitCode, 130) << program.output() << program.errors();
    }

    support::ScriptedServer server;
    const std::string collection = server.url("c/");
    const std::string url = server.url("c/file");
};

TEST_F(Faults, answersThatFailOrLie) {
    const Arguments get{"get", "--timeout", "1", "-o", "a", url};
    const Arguments edit{"edit", url};
    const Arguments put{"put", "--no-memory", "a", url};
    const Arguments ls{"ls", collection}, old{"rm", "--older-than", "0s", url};
    struct Case {
        const char* request;
        Answer answer;
        Row row;
    };
    const Case cases[] = {
        {"PUT /c/file", Answer(507), {edit, 1, "no room left"}},
        {"PUT /c/file", Answer(423), {edit, 5, "Somebody else holds a lock"}},
        {"PUT /c/file", Answer(500), {edit, 7, "500 (Internal Server Error)"}},
        {"PUT /c/file", Answer(201).dropped(), {edit, 7, "PUT"}},
        {"PUT /c/file", Answer(412), {put, 6, "412 (Precondition Failed)"}},  // twice
        {"PUT /c/file", Answer(204), {put, 0, ""}},
        {"LOCK /c/file", Answer(500), {put, 7, "500"}},
        {"LOCK /c/file", Answer(403), {put, 0, ""}},  // then the date is what protects
        {"GET /c/file", Answer(200, "content").truncatedAfter(3), {get, 7, "GET"}},
        {"GET /c/file", Answer(200, "content").stalledAfter(3), {get, 7, "did not answer in time"}},
        {"GET /c/file", Answer(403), {get, 1, "cannot fetch " + url}},
        {"GET /c/file", Answer(301).with("Location", "http://h/"), {get, 1, "http://h/"}},
        {"GET /c/file", Answer(301).with("Location", "ftp://h/"), {get, 7, "no http or https URL"}},
        {"GET /c/file", Answer(303).with("Location", "/c/b"), {get, 1, "303 (See Other). It"}},
        {"GET /c/file", Answer(305), {get, 1, "305 (Use Proxy). It"}},
        {"GET /c/file",
         Answer(401).with("WWW-Authenticate", "Negotiate, Digest algorithm=X"),
         {get, 1, "by Negotiate, Digest with X, but quillon knows only Basic and Digest"}},
        {"PROPFIND /c/", Answer::xml(207, "<multistatus xmlns=\"DAV:\">"), {ls, 7, "list"}},
        {"PROPFIND /c/", Answer(405), {ls, 1, "cannot list"}},
        {"DELETE /c/file", Answer(204), {old, 1, "keeps no dates of creation"}},
        {"MKCOL /c/d/", Answer(200), {{"mkcol", collection + "d"}, 7, "The log is shown by -vvv."}},
        {"PROPFIND /c/file/", multistatus("/c/file"), {{"rmcol", url}, 2, "no collection"}},
    };
    for (const auto& [request, answer, row] : cases) {
        SCOPED_TRACE(request);
        const std::string method(request, std::string_view(request).find(' '));
        server.on(method, request + method.size() + 1, answer);
        server.clearRequests();
        expect({row});
        EXPECT_TRUE(method != "LOCK" || answered("PUT") == (row.exitCode == 0 ? 1 : 0));
        if (row.arguments == edit) versionStays();
        nothingStays();
    }
    server.inTurn("HEAD", "/c/", {Answer(200), Answer(500)});
    expect({{ls, 7, collection + ":\n  The server answered 500"}});
    server.on("HEAD", "/c/", Answer(200));
    server.on("PROPFIND", "/c/b", Answer(207, "x").stalledAfter(0));
    server.clearRequests();
    expect({{{"put", "--timeout", "1", "a", collection + "b"}, 7, "PROPFIND"}});
    EXPECT_EQ(answered("PROPFIND"), 2);  // in vain, and early in case that there is no member
}

// Its note goes only where the server says that the lock is off, and no other is taken for one that
// is named.
TEST_F(Faults, aLockOfOnesOwnIsForgottenOnceItIsOff) {
    const std::string told =
        "<multistatus xmlns=\"DAV:\"><response><href>/c/file</href><propstat><prop><lockdiscovery>"
        "<activelock><locktoken><href>" +
        lockToken + "</href></locktoken></activelock></lockdiscovery></prop></propstat>" +
        "</response></multistatus>";
    const std::string none = "no lock with this token";
    const struct {
        Answer renewal;
        bool isTold;
        int exitCode, namedExitCode;
        std::string failure;
        bool stays;
    } cases[] = {{Answer(412), false, 0, 3, none, false},
                 {Answer(409), false, 0, 3, none, false},
                 {Answer(423), true, 0, 3, none, true},
                 {Answer(403), true, 0, 3, none, true},
                 {Answer(500), true, 7, 7, "yours on it could not be renewed", true},
                 {Answer(200).dropped(), true, 7, 7, "", true}};
    for (const auto& [renewal, isTold, exitCode, namedExitCode, failure, stays] : cases) {
        server.on("LOCK", "/c/*", Answer(200).with("Lock-Token", "<" + lockToken + ">"));
        ASSERT_EQ(quillon({"lock", url}).exitCode, 0);
        server.on("LOCK", "/c/*", [&, answer = renewal](const support::Request& request) {
            const bool renews = !request.field("If").empty();
            return renews ? answer : Answer(200).with("Lock-Token", "<urn:other>");
        });
        server.on("PROPFIND", "/c/*", [&, tells = isTold](const support::Request& request) {
            const bool asks = tells && request.body.find("lockdiscovery") != std::string::npos;
            return asks ? Answer::xml(207, told) : multistatus(request.target);
        });
        server.clearRequests();
        expect({{{"put", "--no-memory", "--token", lockToken, "a", url}, namedExitCode, failure}});
        EXPECT_EQ(answered("PUT"), 0);
        expect({{{"put", "--no-memory", "a", url}, exitCode, exitCode == 0 ? "" : failure}});
        EXPECT_EQ(answered("PUT"), exitCode == 0 ? 1 : 0);
        if (exitCode != 0) expect({{{"put", "--stream", "-", url}, exitCode, failure}});
        std::error_code ignored;
        const std::filesystem::path notes = home / "state/quillon/locks";
        EXPECT_EQ(std::filesystem::is_empty(notes, ignored), !stays) << server.transcript();
        std::filesystem::remove_all(home / "state");
    }
}

TEST_F(Faults, contentThatMayBeCutShortIsNotHandedToWhatChangesIt) {
    const Answer bare = Answer().replacedBy("HTTP/1.1 200 OK\r\n\r\nold ");
    const auto unsized = [](const auto&) { return std::string("HTTP/1.1 200 OK\r\n\r\n"); };
    server.on("HEAD", "/c/*", Answer().madeBy(unsized))
        .on("GET", "/c/*", bare)
        .on("PROPFIND", "/c/*", tellNothing);
    editWith("touch begun");
    expect({{{"edit", url}, 7, "Look at it with quillon get."},
            {{"lock", url, "--", "touch", "begun"}, 7, "Look at it with quillon get."}});
    nothingStays();
    const auto got = quillon({"get", url});
    expect(got, 0, "");
    EXPECT_NE(got.errors.find("check that all of it came"), std::string::npos) << got.errors;
    EXPECT_EQ(support::readFile(work / "file"), "old ");
}

TEST_F(Faults, aStreamThatBreaksOffIsNotSentAgain) {
    server.on("PUT", "/c/*", Answer(503));
    support::Command piped = command({});
    piped.arguments = {"sh", "-c",
                       "head -c 3000000 /dev/zero | '" QUILLON_PROGRAM "' put --stream - " + url};
    expect(support::run(piped), 7, "The input is spent");
    EXPECT_EQ(answered("PUT"), 1);
    nothingStays();
}

// The part is whole again in the end, or the file is not; what changed on either side begins anew.
TEST_F(Faults, anInterruptedFetchGoesOnBehindWhatItHad) {
    std::string content(10 << 20, 'a');
    for (size_t i = 0; i < content.size(); i += 1000)
        content.replace(i, 8, fmt::format("{:08}", i));
    const size_t cut = 9 << 20;
    const auto member = [&](const std::string& tag) {
        return Answer(200, content)
            .with("ETag", tag)
            .with("Last-Modified", lastModified)
            .with("Date", "Mon, 06 Jan 2031 10:20:30 GMT");
    };
    server.on("HEAD", "/c/*", member("\"1\""));
    const auto hidden = [&] { return localFiles().size() - 3; };
    const auto breakOff = [&](const Arguments& more = {}) {
        server.inTurn("GET", "/c/*", {member("\"1\"").truncatedAfter(cut), Answer().dropped()});
        Arguments arguments{"get", url};
        arguments.insert(arguments.end(), more.begin(), more.end());
        EXPECT_EQ(quillon(arguments).exitCode, 7);
    };
    const auto rest = [&](const support::Request& request) {
        const bool goesOn = request.field("Range") == fmt::format("bytes={}-", cut) &&
                            request.field("If-Range") == "\"1\"";
        return !goesOn
                   ? member("\"1\"")
                   : Answer(206, content.substr(cut))
                         .with("ETag", "\"1\"")
                         .with("Content-Range", fmt::format("bytes {}-{}/{}", cut,
                                                            content.size() - 1, content.size()));
    };
    const auto finish = [&](const support::ScriptedServer::Handler& answer) {
        server.clearRequests();
        server.on("GET", "/c/*", answer);
        expect({{{"get", url}, 0, ""}});
        EXPECT_TRUE(support::readFile(work / "file") == content);
        std::filesystem::remove(work / "file");
        EXPECT_EQ(hidden(), 0u);
        int status = 0;
        for (const auto& each : server.requests()) {
            if (each.method == "GET") status = each.answered;
        }
        return status;
    };
    breakOff({"--no-resume"});
    EXPECT_EQ(hidden(), 0u);
    breakOff();
    EXPECT_EQ(hidden(), 1u);
    EXPECT_EQ(finish(rest), 206);
    breakOff();
    EXPECT_EQ(finish([&](const auto&) { return member("\"2\""); }), 200);
    // The same of several at a time.
    server.on("GET", "/c/b", Answer(200, "new"));
    const Arguments several{"get", url, collection + "b"};
    server.inTurn("GET", "/c/file", {member("\"1\"").truncatedAfter(cut), Answer().dropped()});
    expect({{several, 7, "of it are kept"}});
    EXPECT_EQ(hidden(), 1u);
    server.on("GET", "/c/file", rest);
    expect({{several, 0, ""}});
    EXPECT_TRUE(support::readFile(work / "file") == content);
    std::filesystem::remove(work / "file");
    EXPECT_EQ(hidden(), 0u);
    breakOff();
    for (const std::string& name : localFiles())
        if (name.starts_with('.')) writeFile(work / name, "somebody's");
    EXPECT_EQ(hidden(), 1u);
    server.on("GET", "/c/*", rest);
    expect({{{"get", url}, 0, ""}});
    EXPECT_TRUE(support::readFile(work / "file") == content);
    EXPECT_EQ(hidden(), 2u);  // and theirs
    // What went to the output is not taken back: the rest comes behind it, or nothing does.
    const auto breakOffOnce = [&](const support::ScriptedServer::Handler& then) {
        server.on("GET", "/c/*", [&, then](const support::Request& request) {
            return request.field("Range").empty() ? member("\"1\"").truncatedAfter(cut)
                                                  : then(request);
        });
    };
    breakOffOnce(rest);
    EXPECT_TRUE(quillon({"get", url, "-"}).output == content);
    breakOffOnce([&](const auto&) { return member("\"2\""); });
    expect({{{"get", url, "-"}, 7, "The first 9.0 MiB of it went"}});
    support::Command unread = command({});
    unread.arguments = {"sh", "-c", "'" QUILLON_PROGRAM "' get " + url + " - | head -c 10"};
    server.on("GET", "/c/*", member("\"1\"").stalledAfter(1 << 20));
    expect(support::run(unread), 0, "00000000aa");
}

TEST_F(Faults, whereNothingTellsOfAChangeNothingIsStored) {
    server.on("LOCK", "/c/*", Answer(403)).on("HEAD", "/c/*", Answer(200, "old "));
    server.on("PROPFIND", "/c/*", tellNothing);
    expect({{{"put", "a", url}, 6, "nothing was stored.\n  Use put --force if nobody else"}});
    EXPECT_EQ(answered("PUT"), 0);
}

TEST_F(Faults, namesCannotCommandATerminalNorPassForOthers) {
    server.on("PROPFIND", "/c/", multistatus("/c/%1B%5B2J%0Ax", "../../etc/passwd"));
    expect({{{"ls", collection}, 0, "\x1B[2J\nx\n"}});
    support::RunningProcess shown(command({"ls", collection}), support::Streams::terminal);
    EXPECT_EQ(shown.wait()->output, "\\x1B[2J\\x0Ax\r\n");
}

TEST_F(Faults, aListingTellsWholeUrlsHoweverTheServerWroteThem) {
    const std::string root = collection.substr(0, collection.size() - 3);
    const std::pair<std::string, std::string> hrefs[] = {
        {"/c/x:y", collection + "x:y"},
        {"sub/", collection + "sub/"},
        {collection + "z", collection + "z"},
        {"/%63/z", root + "/c/z"},
        {"http://inside.example/c/z", "http://inside.example/c/z"}};
    for (const auto& [href, told] : hrefs) {
        server.on("PROPFIND", "/c/", multistatus(href));
        const std::string output = quillon({"ls", "--json", collection}).output;
        EXPECT_NE(output.find("\"url\":\"" + told + '"'), output.npos) << output;
    }
}

TEST_F(Faults, whatAListingDoesNotTellIsNotInvented) {
    const auto response = [](const std::string& href, const std::string& size) {
        return "<response><href>" + href + "</href><propstat><prop><getcontentlength>" + size +
               "</getcontentlength></prop><status>HTTP/1.1 200 OK</status></propstat></response>";
    };
    server.on(
        "PROPFIND", "/c/",
        Answer::xml(207, "<multistatus xmlns=\"DAV:\">" + response("", "1") +
                             response("/c/a", "-5") + response("/c/b", "0") + "</multistatus>"));
    expect({{{"ls", "-l", collection}, 0, "  -  -  a\n0 B  -  b\n"}});
    const std::string json = quillon({"ls", "--json", collection}).output;
    EXPECT_NE(json.find("\"size\":null"), std::string::npos) << json;
}

TEST_F(Faults, credentialsOfAUrlDoNotStayAmongTheArguments) {
    server.on("GET", "/c/file", Answer(200, "content").stalledAfter(3));
    const std::string typed = "http://ann:secret@" + url.substr(7);
    support::RunningProcess program(command({"--password-file=u:secret@file", "get", typed}));
    ASSERT_TRUE(support::eventually([&] { return answered("GET") == 1; }));
    const auto arguments = support::readFile("/proc/" + std::to_string(program.pid()) + "/cmdline");
    EXPECT_NE(arguments.find("c/file"), std::string::npos);
    EXPECT_EQ(arguments.find("secret"), std::string::npos);
}

TEST_F(Faults, credentialsOfACommandLineAreNotShown) {
    for (const std::string typed : {"http://ann:se/secret@h/x", "http:/ann:secret@h/",
                                    "ann:a secret@h/", "http://ann:secret"}) {
        const std::vector<Arguments> lines{{"ls", typed},
                                           {typed},
                                           {"ls", url, typed},
                                           {"ls", "--timeout", typed, url},
                                           {"ls", "--proxy=" + typed, url},
                                           {"ls", "--password-file", typed, "-uann", url},
                                           {"put", typed, url},
                                           {"get", url, "-o" + typed + "/a"},
                                           {"login", typed},
                                           {"logout", typed},
                                           {"lock", url, "--", typed},
                                           {"mv", url, typed}};
        for (const Arguments& line : lines) {
            SCOPED_TRACE(testing::PrintToString(line));
            const support::Outcome outcome = quillon(line);
            EXPECT_NE(outcome.exitCode, 0);
            EXPECT_EQ(outcome.errors.find("secret"), std::string::npos) << outcome.errors;
        }
        const std::string told = quillon({"shell", collection}, "ls '" + typed + "'\n").errors;
        EXPECT_EQ(told.find("secret"), std::string::npos) << told;
    }
}

TEST_F(Faults, aWordThatMayBeAPasswordIsNotRepeated) {
    for (const Arguments& line : std::vector<Arguments>{{"--password=secret"},
                                                        {"-psecret", "ls", url},
                                                        {"-u", "ann", "secret", "ls", url},
                                                        {"ls", "--password=secret", url},
                                                        {"edit", url, "secret"},
                                                        {"encode", "secret"},
                                                        {"login", "work", "secret"},
                                                        {"login", "work", url, "secret"}}) {
        const support::Outcome outcome = quillon(line);
        EXPECT_EQ(outcome.exitCode, 2) << outcome.errors;
        EXPECT_EQ(outcome.errors.find("secret"), std::string::npos) << outcome.errors;
    }
}

TEST_F(Faults, aLockTokenIsOneWordOfACommandOrNotShown) {
    server.on("UNLOCK", "/c/*", Answer().dropped());
    const std::pair<std::string, std::string> rows[] = {
        {"x;touch$IFS'y'", R"(unlock )" + url + R"( --token 'x;touch$IFS'\''y'\''')"},
        {"x`touch`", "Its token cannot be shown"},
        {"--force", "Its token cannot be shown"}};
    for (const auto& [token, told] : rows) {
        server.on("LOCK", "/c/*", Answer(200).with("Lock-Token", "<" + token + ">"));
        expect({{{"put", "--no-memory", "a", url}, 7, told}});
    }
    server.on("UNLOCK", "/c/*", Answer(204));
    expect({{{"lock", url}, 7, "given back"}});
    nothingStays();
}

TEST_F(Faults, whatCannotBeWrittenIsNoSuccessAndNoCrash) {
    server.on("GET", "/c/file", Answer(200, std::string(1'000'000, 'x')));
    const std::tuple<const char*, int, const char*> rows[] = {
        {"\"$0\" get $1 - | true; exit ${PIPESTATUS[0]}", 141, ""},
        {"\"$0\" info $1 > /dev/full", 8, "No space left"},
        {"\"$0\" info $1 >&-", 8, "Bad file descriptor"},
        {"\"$0\" put - $1 <&-", 8, "Cannot read /dev/stdin"},
        {"ulimit -f 100; \"$0\" get $1", 8, "File too large.\n  A local file could not be"},
    };
    for (const auto& [script, exitCode, told] : rows) {
        support::Command shell = command({});
        shell.arguments = {"bash", "-c", script, QUILLON_PROGRAM, url};
        expect(support::run(shell), exitCode, told);
        nothingStays();
    }
}

TEST_F(Faults, aSlowFetchShowsItsProgressOnATerminalAlone) {
    server.on("GET", "/c/file",
              Answer(200, std::string(1000, 'x')).slowly(100, std::chrono::milliseconds(200)));
    support::Command get = command({"get", url});
    get.environment["TERM"] = "xterm";
    support::RunningProcess shown(get, support::Streams::terminal);
    EXPECT_TRUE(shown.expect("file [####"));
    EXPECT_EQ(shown.wait()->exitCode, 0);
    EXPECT_EQ(quillon({"get", url}).errors, "");
    for (const bool isQuiet : {false, true}) {
        get.arguments = {QUILLON_PROGRAM, "get", isQuiet ? "--quiet" : "--force", url,
                         collection + "b"};
        support::RunningProcess ofAll(get, support::Streams::terminal);
        EXPECT_EQ(ofAll.expect("50% 1 of 2 "), !isQuiet);
        EXPECT_EQ(ofAll.wait()->exitCode, 0);
    }
}

TEST_F(Faults, signalsDuringRequests) {
    const std::string& c = collection;
    const Answer slowToken = Answer(200, std::string(50, ' '))
                                 .with("Lock-Token", "<" + lockToken + ">")
                                 .slowly(5, std::chrono::milliseconds(50));
    server.on("GET", "/c/*", Answer(200, std::string(1'000'000, 'x')).stalledAfter(500'000))
        .on("PUT", "/c/*", Answer(201, "stored").stalledAfter(0))
        .on("LOCK", "/c/a", slowToken);
    struct Case {
        Arguments arguments;
        std::vector<int> signals;
        const char* method;
        long answered;
    };
    const Case rows[] = {
        {{"get", url}, {SIGINT, SIGTERM}, "GET", 1},
        {{"put", "a", url}, {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGUSR1, SIGUSR2}, "PUT", 1},
        {{"put", "a", c}, {SIGINT}, "LOCK", 1},
        {{"get", "-j3", c + "a", c + "b", c + "c", url}, {SIGINT}, "GET", 3},
        {{"put", "-j3", "a", "b", "c", c}, {SIGINT}, "PUT", 3},
        {{"put", "-", url}, {SIGINT}, "HEAD", 2},  // which nobody types
    };
    for (const Case& row : rows) {
        for (const int number : row.signals) {
            SCOPED_TRACE(testing::PrintToString(row.arguments) + std::to_string(number));
            server.clearRequests();
            support::RunningProcess program(command(row.arguments), support::Streams::terminal);
            ASSERT_TRUE(support::eventually([&] { return answered(row.method) == row.answered; }))
                << server.transcript() << program.output();
            endsBy(number, program);
            nothingStays();
        }
    }
}

TEST_F(Faults, twoSignalsLeaveALockThatIsToldOf) {
    const std::pair<const char*, std::string> rows[] = {
        {"LOCK", url + " may be locked now"},
        {"UNLOCK", "quillon unlock " + url + " --token " + lockToken}};
    for (const auto& [method, told] : rows) {
        server.on(method, "/c/file", Answer(200, "x").stalledAfter(0));
        support::RunningProcess program(command({"put", "a", url}));
        ASSERT_TRUE(support::eventually([&, method = method] { return answered(method) == 1; }));
        program.signal(SIGTERM);
        EXPECT_FALSE(program.wait(support::Duration{100}));
        endsBy(SIGTERM, program);
        EXPECT_NE(program.errors().find(told), std::string::npos) << program.errors();
        EXPECT_EQ(std::ranges::count(program.errors(), '\n'), 1);
        server.on(method, "/c/file", Answer(200).with("Lock-Token", "<" + lockToken + ">"));
    }
}

TEST_F(Faults, aSignalWhileALockIsAskedForIsAnInterrupt) {
    server.on("LOCK", "/c/file", Answer(200, "x").stalledAfter(0));
    support::RunningProcess program(command({"put", "--timeout", "1", "a", url}));
    ASSERT_TRUE(support::eventually([&] { return answered("LOCK") == 1; }));
    program.signal(SIGINT);
    const auto outcome = program.wait();
    ASSERT_TRUE(outcome);
    EXPECT_EQ(outcome->exitCode, exitInterrupted) << outcome->errors;
}

TEST_F(Faults, whatAKilledProgramLeftIsFoundByTheNext) {
    server.on("PUT", "/c/*", Answer(201, "x").stalledAfter(0));
    server.on("GET", "/c/*", Answer(200, "content").stalledAfter(3));
    for (const Arguments& arguments : {Arguments{"put", "a", url}, Arguments{"get", url}}) {
        support::RunningProcess program(command(arguments));
        const char* method = arguments[0] == "put" ? "PUT" : "GET";
        ASSERT_TRUE(support::eventually([&] { return answered(method) == 1; }));
        program.signal(SIGKILL);
        program.wait();
    }
    ASSERT_GT(localFiles().size(), 3u);
    for (const auto& entry : std::filesystem::directory_iterator(work.path())) {
        const auto old = std::filesystem::file_time_type::clock::now() - std::chrono::hours(1);
        if (entry.is_directory()) std::filesystem::last_write_time(entry, old);
    }
    server.on("GET", "/c/*", Answer(200, "new"));
    const std::string told = quillon({"get", "-o", "a", url}).errors;
    EXPECT_EQ(answered("UNLOCK"), 1) << told;
    EXPECT_EQ(localFiles(), (Names{"a", "b", "c"}));
}

TEST_F(Faults, aSignalWhileALockIsGivenBackIsAnInterrupt) {
    std::atomic<pid_t> process = 0;
    server.on("UNLOCK", "/c/file", [&](const support::Request&) {
        support::eventually([&] { return process != 0; });
        kill(process, SIGTERM);
        return Answer().dropped();
    });
    support::RunningProcess program(command({"put", "a", url}));
    process = program.pid();
    EXPECT_EQ(program.wait()->exitCode, 130) << program.errors();
    EXPECT_NE(program.errors().find("--token " + lockToken), std::string::npos) << program.errors();
}

TEST_F(Faults, aNoteOfALockStaysAsLongAsTheLockMay) {
    const std::filesystem::path notes = home / "state/quillon/locks";
    const auto properties = [&](const std::string& more) {
        return Answer::xml(207, "<multistatus xmlns=\"DAV:\"><response><href/><propstat><prop>" +
                                    more + "<getlastmodified>" + lastModified +
                                    "</getlastmodified></prop></propstat></response>"
                                    "</multistatus>");
    };
    server.on("UNLOCK", "/c/*", Answer(500));
    server.on("PROPFIND", "/c/file", properties("<lockdiscovery/>"));
    expect({{{"edit", url}, 0, ""}});
    EXPECT_TRUE(std::filesystem::is_empty(notes));
    server.on("PROPFIND", "/c/file", properties(""));  // which tells nothing of locks
    expect({{{"edit", url}, 7, "--token " + lockToken}});
    EXPECT_FALSE(std::filesystem::is_empty(notes));
    std::filesystem::remove_all(notes);

    // No name for the version that is kept is short enough, so that it stays where it is.
    server.on("UNLOCK", "/c/*", Answer(204)).on("PUT", "/c/*", Answer(507));
    const std::string longName = server.url("c/" + std::string(253, 'n'));
    EXPECT_NE(quillon({"edit", longName}).errors.find("your version stays in"), std::string::npos);
    const std::string told = quillon({"info", longName}).errors;
    EXPECT_NE(told.find("did not store is in"), std::string::npos) << told;
    EXPECT_EQ(told.find(lockToken), std::string::npos) << told;
}

TEST_F(Faults, aSignalEndsTheWaitForAPipe) {
    ASSERT_EQ(mkfifo((work / "pipe").c_str(), 0600), 0);
    ASSERT_EQ(mkfifo((work / "file").c_str(), 0600), 0);
    expect({{{"get", url}, 8, "no regular file"}, {{"get", "-O", ".", url}, 8, "no regular file"}});
    EXPECT_EQ(answered("GET"), 0);
    support::RunningProcess program(command({"get", "-o", "pipe", url}));
    ASSERT_TRUE(support::eventually([&] { return answered("GET") == 1; }));
    EXPECT_FALSE(program.wait(support::Duration{100}));
    endsBy(SIGINT, program);
    for (const char* name : {"pipe", "file"}) std::filesystem::remove(work / name);
    nothingStays();
}

TEST_F(Faults, signalsEndTheEditorButNotTheVersion) {
    editWith(
        "printf mine >> \"$1\"; touch \"$(dirname \"$1\")/.file.swp\"; echo editing; exec sleep "
        "1000");
    for (const int number : {SIGTERM, SIGUSR1}) {
        support::RunningProcess program(command({"edit", url}));
        ASSERT_TRUE(program.expect("editing"));
        program.signal(SIGINT);  // the editor's own
        EXPECT_FALSE(program.wait(support::Duration{100}));
        endsBy(number, program);
        EXPECT_EQ(answered("PUT"), 0);
        versionStays(".file.mine.swp");
        nothingStays();
    }
}

TEST_F(Faults, locksAreRenewedWhileAPersonTakesTheirTime) {
    server.on("LOCK", "/c/*", [&](const support::Request& request) {
        if (request.field("If") == "(<" + lockToken + ">)") writeFile(home / "renewed", "");
        return Answer::xml(200,
                           "<prop xmlns=\"DAV:\"><lockdiscovery><activelock><timeout>Second-2"
                           "</timeout><locktoken><href>" +
                               lockToken +
                               "</href></locktoken></activelock></lockdiscovery></prop>")
            .with("Lock-Token", "<" + lockToken + ">");
    });
    editWith("for i in $(seq 200); do [ -e ~/renewed ] && break; sleep 0.1; done; rm ~/renewed");
    expect(quillon({"edit", url}), 0, url + ": unchanged, nothing was stored\n");

    support::RunningProcess shell(command({"shell", collection}), support::Streams::terminal);
    shell.send("lock a\n");
    EXPECT_TRUE(support::eventually([&] { return std::filesystem::exists(home / "renewed"); }));
    shell.send("\x04");
    EXPECT_EQ(shell.wait()->exitCode, 0) << shell.output();
    nothingStays();
}

TEST_F(Faults, signalsOfTheKeyboardReachTheCommandAlone) {
    support::RunningProcess program(
        command({"lock", url, "--", "sh", "-c", "echo running; exec sleep 1000"}),
        support::Streams::terminal);
    ASSERT_TRUE(program.expect("running"));
    program.send("\x03");
    EXPECT_EQ(program.wait()->exitCode, 130) << program.output();
    nothingStays();
}

}  // namespace
}  // namespace quillon::cli
