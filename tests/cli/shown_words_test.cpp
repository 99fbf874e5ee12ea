// What the program says and shows: no secret of its words, and nothing that commands.
#include "tests/cli/faults.hpp"

namespace quillon::cli {
namespace {

using ShownWords = Faults;

TEST_F(ShownWords, credentialsOfAUrlDoNotStayAmongTheArguments) {
    server.on("GET", "/c/file", Answer(200, "content").stalledAfter(3));
    const std::string typed = "http://ann:secret@" + url.substr(7);
    support::RunningProcess program(
        command({"--password-file=u:secret@file", "--header", "X-Gate:  secret", "get", typed}));
    ASSERT_TRUE(support::eventually([&] { return answered("GET") == 1; }));
    const std::string arguments = shownArguments(program);
    EXPECT_NE(arguments.find("X-Gate:  ******"), std::string::npos);
    EXPECT_NE(arguments.find("c/file"), std::string::npos);
    expectHidden(arguments, {"secret"});
}

TEST_F(ShownWords, credentialsOfACommandLineAreNotShown) {
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
            expectHidden(outcome.errors, {"secret"});
        }
        expectHidden(quillon({"shell", collection}, "ls '" + typed + "'\n").errors, {"secret"});
    }
}

TEST_F(ShownWords, aWordThatMayBeAPasswordIsNotRepeated) {
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
        expectHidden(outcome.errors, {"secret"});
    }
}

TEST_F(ShownWords, aLockTokenIsOneWordOfACommandOrNotShown) {
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

TEST_F(ShownWords, namesCannotCommandATerminalNorPassForOthers) {
    server.on("PROPFIND", "/c/", multistatus("/c/%1B%5B2J%0Ax", "../../etc/passwd"));
    expect({{{"ls", collection}, 0, "\x1B[2J\nx\n"}});
    support::RunningProcess shown(command({"ls", collection}), support::Streams::terminal);
    EXPECT_EQ(shown.wait()->output, "\\x1B[2J\\x0Ax\r\n");
}

}  // namespace
}  // namespace quillon::cli
