// ls, info and get against real servers.
#include <sys/stat.h>

#include <nlohmann/json.hpp>
#include <regex>

#include "tests/cli/program.hpp"
#include "tests/support/apache.hpp"
#include "tests/support/certificates.hpp"

namespace quillon::cli {
namespace {

struct Named {
    const char* name;
    const char* segment;
};

constexpr Named awkward[] = {
    {"\"quotes'.txt", "%22quotes%27.txt"},
    {"100% sure", "100%25%20sure"},
    {"100%25", "100%2525"},
    {"a b.txt", "a%20b.txt"},
    {"what?.txt", "what%3F.txt"},
    {"x#1;y=2&z+@:,$!", "x%231%3By%3D2%26z%2B%40%3A%2C%24%21"},
    {"\xC3\xBC\xE6\x97\xA5.txt", "%C3%BC%E6%97%A5.txt"},
    {"\xF0\x9F\x98\x80.txt", "%F0%9F%98%80.txt"},
};

class Reading : public ProgramTest {
protected:
    // Every awkward name, listed and fetched by the name that is listed.
    void namesSurvive(const support::WebDavServer& server) {
        std::string listing;
        for (const Named& member : awkward) {
            server.addMember(member.name, member.name);
            listing += std::string(member.name) + "\n";
        }
        const support::Outcome listed = quillon({"ls", server.url()});
        EXPECT_EQ(listed.exitCode, 0) << listed.errors;
        EXPECT_EQ(listed.output, listing);
        for (const Named& member : awkward) {
            // A percent sign of a name is escaped where a URL is typed.
            std::string typed = member.name;
            for (size_t at = 0; (at = typed.find("%2", at)) != typed.npos; ++at) {
                typed.replace(at, 1, "%25");
            }
            const support::Outcome got = quillon({"get", server.url() + typed});
            EXPECT_EQ(got.exitCode, 0) << got.errors;
            EXPECT_EQ(support::readFile(work / member.name), member.name);
        }
        EXPECT_EQ(localFiles().size(), std::size(awkward));
        EXPECT_TRUE(cacheDirectories().empty());
    }

    void collectionsAreToldFromMembers(const support::WebDavServer& server) {
        server.addCollection("sub");
        server.addMember("sub/inner", "12345");
        server.addCollection("empty");
        server.addMember("file", "1234567");
        const std::string url = server.url();
        const std::pair<Arguments, std::string> rows[] = {
            {{"ls", url}, "empty/\nfile\nsub/\n"}, {{"ls", url + "sub/"}, "inner\n"},
            {{"ls", url + "sub"}, "inner\n"},      {{"ls", url + "empty"}, ""},
            {{"ls", url + "file"}, "file\n"},      {{"ls", "--json", url + "empty/"}, "[]\n"},
        };
        for (const auto& [arguments, output] : rows) {
            const support::Outcome outcome = quillon(arguments);
            EXPECT_EQ(outcome.output, output) << arguments.back();
            EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
        }
        for (const char* missing : {"no", "no/", "no/no", "sub/no"}) {
            for (const char* verb : {"ls", "info"}) {
                EXPECT_EQ(quillon({verb, url + missing}).exitCode, 3) << verb << " " << missing;
            }
        }
        EXPECT_EQ(quillon({"get", url + "no"}).exitCode, 3);
        EXPECT_EQ(quillon({"get", url + "sub"}).exitCode, 1);
        EXPECT_EQ(quillon({"get", url + "sub/"}).exitCode, 2);
        EXPECT_TRUE(localFiles().empty());
    }

    void propertiesAreTold(const support::WebDavServer& server) {
        server.addMember("file", "1234567");
        server.addCollection("sub");
        const auto read = [&](const std::string& path) {
            return nlohmann::json::parse(quillon({"info", "--json", server.url(path)}).output);
        };
        const auto file = read("file");
        EXPECT_EQ(file["name"], "file");
        EXPECT_EQ(file["url"], server.url("file"));
        EXPECT_EQ(file["type"], "file");
        EXPECT_EQ(file["size"], 7);
        EXPECT_EQ(file["modified"].get<std::string>().back(), 'Z');
        const auto collection = read("sub");
        EXPECT_EQ(collection["type"], "collection");
        EXPECT_EQ(collection["url"], server.url("sub/"));
        EXPECT_FALSE(collection.contains("size"));
        EXPECT_EQ(collection, read("sub/"));
    }
};

TEST_F(Reading, apache) {
    namesSurvive(support::Apache());
    for (const std::string& name : localFiles()) std::filesystem::remove(work / name);
    collectionsAreToldFromMembers(support::Apache());
    propertiesAreTold(support::Apache());
}

TEST_F(Reading, lighttpd) {
    namesSurvive(support::Lighttpd());
    for (const std::string& name : localFiles()) std::filesystem::remove(work / name);
    collectionsAreToldFromMembers(support::Lighttpd());
    propertiesAreTold(support::Lighttpd());
}

TEST_F(Reading, rclone) {
    namesSurvive(support::Rclone());
    for (const std::string& name : localFiles()) std::filesystem::remove(work / name);
    collectionsAreToldFromMembers(support::Rclone());
    propertiesAreTold(support::Rclone());
}

TEST_F(Reading, aLongListingHasColumnsAndLeavesDotNamesOut) {
    const support::Apache server;
    server.addMember("big", std::string(2048, 'x'));
    server.addMember(".dot", "1");
    server.addCollection("sub");
    const std::string date = R"(  \d{4}-\d\d-\d\d \d\d:\d\d  )";
    const support::Outcome plain = quillon({"ls", "-l", server.url()});
    EXPECT_TRUE(std::regex_match(plain.output,
                                 std::regex("2.0 KiB" + date + "big\n      -" + date + "sub/\n")))
        << plain.output;
    EXPECT_EQ(quillon({"ls", "-a", server.url()}).output, ".dot\nbig\nsub/\n");
}

TEST_F(Reading, credentialsComeFromEachPlace) {
    using support::Authentication;
    for (const Authentication scheme : {Authentication::basic, Authentication::digest}) {
        const support::Apache server({.authentication = scheme, .account = {"ann", "p:a %20"}});
        server.addMember("file", "content");
        support::writeFile(work / "right", "p:a %20\n");
        support::writeFile(work / "wrong", "p:a\n");
        support::writeFile(home / "netrc", "machine 127.0.0.1 login ann password \"p:a %20\"\n");
        const std::string url = server.url();
        const std::string inUrl = "http://ann:p%3Aa%20%2520@" + url.substr(7);
        struct Row {
            Arguments options;
            bool netrc;
            int exitCode;
        };
        const Row rows[] = {
            {{"ls", url}, false, 4},
            {{"ls", url}, true, 0},
            {{"ls", inUrl}, false, 0},
            {{"ls", "-u", "ann", "--password-file", "right", url}, false, 0},
            {{"-u", "ann", "--password-file", "wrong", "ls", url}, true, 4},
            {{"ls", "-u", "bob", "--password-file", "right", url}, false, 4},
            {{"ls", "-u", "ann", url}, true, 0},
            {{"ls", "-u", "ann", url}, false, 2},  // nobody to ask
            {{"ls", "-u", "ann", "--password-file", "none", url}, false, 8},
        };
        for (const Row& row : rows) {
            support::Command run = command(row.options);
            if (!row.netrc) run.environment["NETRC"] = home / "none";
            const support::Outcome outcome = support::run(run);
            EXPECT_EQ(outcome.exitCode, row.exitCode)
                << testing::PrintToString(row.options) << outcome.errors;
            EXPECT_EQ(outcome.output, row.exitCode == 0 ? "file\n" : "");
            EXPECT_EQ(outcome.errors.find("p:a"), std::string::npos) << outcome.errors;
        }
        const support::Outcome logged = quillon({"ls", "-vv", inUrl});
        EXPECT_NE(logged.errors.find("PROPFIND"), std::string::npos);
        for (const char* secret : {"p:a", "p%3Aa", "YW5u"}) {
            EXPECT_EQ(logged.errors.find(secret), std::string::npos) << secret;
        }
    }
}

TEST_F(Reading, aPasswordIsAskedForWithoutEcho) {
    const support::Apache server({.authentication = support::Authentication::basic, .account = {}});
    server.addMember("file", "content");
    support::RunningProcess program(command({"ls", server.url()}), support::Streams::terminal);
    ASSERT_TRUE(program.expect("User name at " + server.url().substr(0, server.url().size() - 1)));
    program.send(server.account().user + "\n");
    ASSERT_TRUE(program.expect("Password of demo"));
    program.send(server.account().password + "\n");
    const auto outcome = program.wait();
    ASSERT_TRUE(outcome);
    EXPECT_EQ(outcome->exitCode, 0);
    EXPECT_NE(outcome->output.find("\nfile"), std::string::npos) << outcome->output;
    EXPECT_EQ(outcome->output.find("sesame"), std::string::npos);
}

TEST_F(Reading, tlsIsTrustedByAuthorityOrNotAtAll) {
    const support::Apache server({.tls = true});
    const std::string authority = support::certificates().authority;
    const std::pair<Arguments, int> rows[] = {
        {{"ls", server.url()}, 7},
        {{"ls", "--ca-file", authority, server.url()}, 0},
        {{"ls", "--insecure", server.url()}, 0},
    };
    for (const auto& [arguments, exitCode] : rows) {
        const support::Outcome outcome = quillon(arguments);
        EXPECT_EQ(outcome.exitCode, exitCode) << outcome.errors;
    }
}

TEST_F(Reading, getPutsWholeFilesInPlace) {
    const support::Apache server;
    server.addMember("file", "new content");
    std::filesystem::last_write_time(
        server.documentRoot() / "file",
        std::filesystem::file_time_type::clock::now() - std::chrono::hours(1000));
    struct stat there {};
    ASSERT_EQ(stat((server.documentRoot() / "file").c_str(), &there), 0);
    support::writeFile(work / "old", "old");
    chmod((work / "old").c_str(), 0600);
    std::filesystem::create_directory(work / "into");

    EXPECT_EQ(quillon({"get", "-o", "old", server.url("file")}).exitCode, 0);
    struct stat here {};
    ASSERT_EQ(stat((work / "old").c_str(), &here), 0);
    EXPECT_EQ(support::readFile(work / "old"), "new content");
    EXPECT_EQ(here.st_mode & 0777, 0600);
    EXPECT_EQ(here.st_mtim.tv_sec, there.st_mtim.tv_sec);

    EXPECT_EQ(quillon({"get", "-O", "into", server.url("file")}).exitCode, 0);
    EXPECT_EQ(support::readFile(work / "into" / "file"), "new content");
    EXPECT_EQ(quillon({"get", server.url("file"), "-"}).output, "new content");
    EXPECT_EQ(quillon({"get", "-o", "-", server.url("file")}).output, "new content");
    EXPECT_EQ(localFiles(), (std::vector<std::string>{"file", "into", "old"}));

    const std::pair<Arguments, int> refused[] = {
        {{"get", "-o", "x", server.url("file"), server.url("file")}, 2},
        {{"get", "-o", "into", server.url("file")}, 2},
        {{"get", "-O", "none", server.url("file")}, 2},
        {{"get", "-o", "none/x", server.url("file")}, 8},
        {{"get", server.url("a%2Fb")}, 2},
        {{"get", "-"}, 2},
    };
    for (const auto& [arguments, exitCode] : refused) {
        EXPECT_EQ(quillon(arguments).exitCode, exitCode) << arguments.back();
    }
}

TEST_F(Reading, severalMembersShareConnectionsAndOneFailureIsNotTheEnd) {
    const support::Apache server;
    Arguments arguments{"get", "--jobs", "1"};
    for (int i = 0; i < 10; ++i) {
        const std::string name = "file" + std::to_string(i);
        if (i != 4) server.addMember(name, name);
        arguments.push_back(server.url(name));
    }
    const support::Outcome outcome = quillon(arguments);
    EXPECT_EQ(outcome.exitCode, 3);
    EXPECT_NE(outcome.errors.find("file4"), std::string::npos);
    EXPECT_EQ(localFiles().size(), 9u);
    EXPECT_EQ(server.connections(), 1);
    // HEAD and, as Apache refuses that, PROPFIND of the collection; OPTIONS, HEAD and GET of each.
    EXPECT_EQ(server.accessLog().size(), 2 + 10 * 2 + 9u);
}

TEST_F(Reading, membersThatMatchComeOverSeveralConnections) {
    const support::Apache server;
    for (int i = 0; i < 12; ++i) server.addMember(std::to_string(i).append(".csv"), "text");
    for (const char* name : {".hidden.csv", "other.txt"}) server.addMember(name, "other");
    const auto get = [&](const char* pattern) {
        return quillon({"get", "--jobs", "3", "--match", pattern, server.url()}).exitCode;
    };
    EXPECT_EQ(get("*.csv"), 0);
    EXPECT_EQ(localFiles().size(), 12u);
    EXPECT_EQ(server.connections(), 1 + 3);  // the listing's, and each worker's
    EXPECT_EQ(get("*.pdf"), 3);
}

}  // namespace
}  // namespace quillon::cli
