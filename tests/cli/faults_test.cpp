// Servers that fail or lie, and a machine without room.
#include <fmt/format.h>

#include "client/facts/facts_store.hpp"
#include "tests/cli/faults.hpp"

namespace quillon::cli {
namespace {

// Of a member that is there.
Answer tellNothing(const support::Request& request) {
    return Answer::xml(207, "<multistatus xmlns=\"DAV:\"><response><href>" + request.target +
                                "</href><propstat><prop/></propstat></response></multistatus>");
}

TEST_F(Faults, answersThatFailOrLie) {
    const Arguments get{"get", "--timeout", "1", "-o", "a", url};
    const Arguments edit{"edit", url};
    const Arguments asAnn = joined({"-uann", "--password-file", "a"}, get);
    const std::string processing = "HTTP/1.1 102 Processing\r\n\r\n";
    const Arguments put{"put", "--no-memory", "a", url};
    const Arguments ls{"ls", collection}, df{"df", collection},
        old{"rm", "--older-than", "0s", url};
    const Answer ofNoLength = Answer().replacedBy("HTTP/1.1 200 OK\r\n\r\n12345"),
                 interim = Answer().replacedBy("HTTP/1.1 101 Switching\r\n\r\nHTTP");
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
        {"GET /c/file", Answer(204), {get, 7, "Only 0 bytes came of 4"}},
        {"GET /c/file", ofNoLength, {get, 7, "5 bytes came, but the server tells a size of 4"}},
        {"GET /c/file", interim, {get, 7, "the connection ended before the answer's header"}},
        {"GET /c/file", Answer(301).with("Location", "http://h/"), {get, 1, "http://h/"}},
        {"GET /c/file", Answer(301).with("Location", "ftp://h/"), {get, 7, "no http or https URL"}},
        {"GET /c/file", Answer(303).with("Location", "/c/b"), {get, 1, "303 (See Other). It"}},
        {"GET /c/file", Answer(305), {get, 1, "305 (Use Proxy). It"}},
        {"GET /c/file",
         Answer(401).with("WWW-Authenticate", "Negotiate, Digest algorithm=X"),
         {get, 4, "by Negotiate, Digest with X, but quillon knows only Basic and Digest"}},
        {"GET /c/file", Answer(401), {asAnn, 4, "no way to log in that can be read"}},
        {"GET /c/file", Answer(407), {get, 7, "a proxy answers so, and none is used"}},
        {"GET /c/file",
         Answer(102, processing).endless().slowly(processing.size(), std::chrono::milliseconds(50)),
         {get, 7, "no byte moved for 1 seconds"}},
        {"PROPFIND /c/",
         Answer::xml(207, "<multistatus xmlns=\"DAV:\">"),
         {ls, 7, "cannot be read"}},
        {"PROPFIND /c/", Answer::xml(200, "<html/>"), {ls, 7, "no list of WebDAV"}},
        {"PROPFIND /c/", Answer::xml(200, "<html/>"), {df, 7, "no list of WebDAV"}},
        {"PROPFIND /c/", Answer(200, "<p>hi"), {df, 7, "no list of WebDAV"}},
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
    server.on("PROPFIND", "/c/d", multistatus("/c/d/a")).on("GET", "/c/d", Answer(405));
    tells({"info", collection + "d"}, 0, {"collection"});
    expect({{{"rm", collection + "d"}, 1, "This is a collection"},
            {{"get", collection + "d"}, 1, "This is a collection. Use -r"}});
    server.on("PUT", "/c/file", Answer(423))
        .on("PROPFIND", "/c/file",
            Answer::properties("/c/file", "<lockdiscovery/><getlastmodified>" + lastModified +
                                              "</getlastmodified>"));
    for (const Arguments& more : {Arguments{"a"}, {"--force", "--stream", "-"}})
        expect({{joined(joined({"put"}, more), {url}), 5, "but tells of no lock on it"}});
    server.on("PROPFIND", "/c/", Answer(500));
    expect({{ls, 7, collection + ":\n  The server answered 500"}});
    server.on("PROPFIND", "/c/b", Answer(207, "x").stalledAfter(0));
    server.clearRequests();
    expect({{{"put", "--timeout", "1", "a", collection + "b"}, 7, "PROPFIND"}});
    EXPECT_EQ(answered("PROPFIND"), 2);  // in vain, and early in case that there is no member
}

// Its note goes only where the server says that the lock is off, and no other is taken for one that
// is named.
TEST_F(Faults, aLockOfOnesOwnIsForgottenOnceItIsOff) {
    const Answer told =
        Answer::properties("/c/file", "<lockdiscovery><activelock><locktoken><href>" + lockToken +
                                          "</href></locktoken></activelock></lockdiscovery>");
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
            return asks ? told : multistatus(request.target);
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

TEST_F(Faults, aRefusedListOfOwnLocksIsNotTakenForAnotherFailure) {
    const auto refuse = [](const auto& request) {
        return Answer(request.field("If").empty() ? 423 : 412);
    };
    server.on("DELETE", "/c/d/", refuse).on("MOVE", "/c/d/", refuse);
    server.on("PROPFIND", "/c/e/", Answer(404));
    ASSERT_EQ(quillon({"lock", collection + "d/f"}).exitCode, 0);
    const std::string told = "To take it off: quillon unlock --mine " + collection + "d/\n";
    expect({{{"rm", "-r", "-y", collection + "d/"}, 5, told},
            {{"mv", collection + "d/", "e"}, 5, told},
            {{"mv", collection + "d/", "g"}, 1, "this name there already"},
            {{"unlock", "--mine", collection + "d/"}, 0, ""}});
    nothingStays();
}

// Neither hides what else is known of a member: a bad answer about locks, nor one about all.
TEST_F(Faults, locksThatCannotBeReadDoNotHideTheRest) {
    for (const std::string asked : {"lockdiscovery", "allprop"}) {
        const auto make = [&](const support::Request& request) {
            const bool isBad = request.body.find("lockdiscovery") != std::string::npos ||
                               request.body.find(asked) != std::string::npos;
            const std::string body =
                "<multistatus xmlns=\"DAV:\"><response><href>/c/file</href><propstat><prop>"
                "<getcontentlength>4</getcontentlength>" +
                std::string(isBad ? "<lockdiscovery><x></lockdiscovery>" : "") +
                "</prop><status>HTTP/1.1 200 OK</status></propstat></response></multistatus>";
            return fmt::format("HTTP/1.1 207 Told\r\nContent-Length: {}\r\n\r\n{}", body.size(),
                               body);
        };
        server.on("PROPFIND", "/c/file", Answer().madeBy(make));
        const std::string told = "the locks of " + url + " could not be read: XML";
        tells({"info", url}, 0, {told, "Size:      4 bytes", "Locked:    unknown\n", "LOCK"});
        tells({"info", "--json", url}, 0, {told, R"("size":4,)"});
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
    expect({{{"get", url}, 0, "", "check that all of it came"}});
    EXPECT_EQ(support::readFile(work / "file"), "old ");
    // What it was is known here, and not whether the server has just that.
    writeFile(work / "file", "old mine");
    expect({{{"get", url}, 6, "was changed since it came from there"},
            {{"put", "file", url}, 7, "whether this file came from all of it"}});
    EXPECT_EQ(support::readFile(work / "file"), "old mine");
    server.on("HEAD", "/c/*", Answer(200, "old ")).on("GET", "/c/*", Answer(200, "old and new"));
    expect({{{"put", "file", url}, 6, "changed on the server since"}});
    EXPECT_EQ(answered("PUT"), 0);
    server.on("GET", "/c/*", Answer(200, "old "));
    expect({{{"put", "file", url}, 0, ""}});
}

// Where two versions of one second have one tag, the hash of what was stored decides.
TEST_F(Faults, aTagThatRepeatsProvesNotWhatWasStored) {
    server.on("PUT", "/c/*", Answer(204).with("ETag", "\"1\""));
    for (const bool repeats : {false, true}) {
        setenv("XDG_STATE_HOME", (home / "state").c_str(), 1);
        ServerFacts facts;
        facts.tagsDiffer = !repeats;
        facts.learned = std::chrono::floor<Time::duration>(std::chrono::system_clock::now());
        keepFacts(collection, facts);
        unsetenv("XDG_STATE_HOME");
        writeFile(work / "a", "mine");
        expect({{{"put", "--force", "a", url}, 0, ""}});
        writeFile(work / "a", "mine again");
        expect({{{"put", "a", url}, repeats ? 6 : 0, repeats ? "on the server since" : ""}});
    }
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

TEST_F(Faults, aListingTellsWholeUrlsHoweverTheServerWroteThem) {
    const std::string root = collection.substr(0, collection.size() - 3);
    const std::pair<std::string, std::string> hrefs[] = {
        {"/c/x:y", collection + "x:y"},
        {"sub/", collection + "sub/"},
        {collection + "z", collection + "z"},
        {"/%63/z", root + "/c/z"},
        {"http://inside.example/c/z", collection + "z"}};
    for (const auto& [href, told] : hrefs) {
        server.on("PROPFIND", "/c/", multistatus(href));
        tells({"ls", "--json", collection}, 0, {"\"url\":\"" + told + '"'});
    }
}

TEST_F(Faults, whatAListingDoesNotTellIsNotInvented) {
    const auto response = [](const std::string& href, const std::string& size) {
        return "<response><href>" + href + "</href><propstat><prop><getcontentlength>" + size +
               "</getcontentlength></prop><status>HTTP/1.1 200 OK</status></propstat></response>";
    };
    const auto tell = [this](const std::string& responses) {
        server.on("PROPFIND", "/c/",
                  Answer::xml(207, "<multistatus xmlns=\"DAV:\">" + responses + "</multistatus>"));
    };
    tell(response("/d/a", "1") + response("/d/b", "1"));  // without the collection itself
    expect({{{"ls", collection}, 0, "a\nb\n"}});
    tell(response("/d/a", "1") + response("/d/", "") + response("/d/e", "1"));  // behind a proxy
    expect({{{"ls", collection}, 0, "a\ne\n"}});
    tell(response("./", "") + response("a", "1") + response("b", "1"));
    expect({{{"ls", collection}, 0, "a\nb\n"}});
    tell(response("", "1") + response("/c/a", "-5") + response("/c/b", "0"));
    expect({{{"ls", "-l", collection}, 0, "  -  -  a\n0 B  -  b\n"}});
    tells({"ls", "--json", collection}, 0, {"\"size\":null"});
    server.on("GET", "/c/file", Answer(204)).on("PROPFIND", "/c/file", Answer::properties("", ""));
    expect({{{"get", "-o", "a", url}, 7, "without a content"}});
}

TEST_F(Faults, whatCannotBeWrittenIsNoSuccessAndNoCrash) {
    server.on("GET", "/c/file", Answer(200, std::string(1'000'000, 'x')));
    server.on("GET", "/c/none", Answer(404));
    const std::tuple<const char*, int, const char*> rows[] = {
        {"\"$0\" get $1 - | true; exit ${PIPESTATUS[0]}", 141, ""},
        {"\"$0\" tail ${1%file}none | true; exit ${PIPESTATUS[0]}", 3, "cannot fetch"},
        {"\"$0\" cat ${1%file}none | true; exit ${PIPESTATUS[0]}", 3, "cannot fetch"},
        {"\"$0\" info $1 > /dev/full", 8, "No space left"},
        {"\"$0\" info $1 >&-", 8, "Bad file descriptor"},
        {"\"$0\" put - $1 <&-", 8, "Cannot read /dev/stdin"},
        {"ulimit -f 100; \"$0\" get $1", 8, "Cannot write ./file: File too large."},
        {"\"$0\" get ${1}/ 2>&-", 2, ""},
        {"\"$0\" ls none: 2> /dev/full", 2, ""},
        {"\"$0\" put -v --no-memory a $1 > /dev/full 2> /dev/full", 8, ""},
        {"\"$0\" put -v --no-memory a $1 > /dev/full", 8,
         "cannot write to the standard output: No space left"},
        {"\"$0\" __keep true 3>&2", 2, "There is no command \"__keep\"."},
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

TEST_F(Faults, aNoteOfALockStaysAsLongAsTheLockMay) {
    const std::filesystem::path notes = home / "state/quillon/locks";
    const auto properties = [&](const std::string& more) {
        return Answer::properties("",
                                  more + "<getlastmodified>" + lastModified + "</getlastmodified>");
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
    tells({"edit", longName}, 8, {"your version stays in"});
    tells({"info", longName}, 0, {"did not store is in"});
    expectHidden(quillon({"info", longName}).errors, {lockToken});
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

}  // namespace
}  // namespace quillon::cli
