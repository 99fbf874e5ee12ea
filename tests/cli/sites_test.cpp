// Sites: stored passwords, and names instead of URLs.
#include <sys/stat.h>

#include <nlohmann/json.hpp>
#include <thread>

#include "tests/cli/program.hpp"
#include "tests/support/apache.hpp"
#include "tests/support/certificates.hpp"
#include "tests/support/dav_tree.hpp"
#include "tests/support/scripted_server.hpp"

namespace quillon::cli {
namespace {

using support::Authentication;

constexpr const char* PASSWORD = "geheim \xC3\xBC\" \\x: 100%";

class Sites : public ProgramTest {
protected:
    Sites() {
        support::writeFile(work / "right", std::string(PASSWORD) + "\n");
        support::writeFile(work / "wrong", "falsch\n");
        std::filesystem::create_directories(config);
    }
    static support::ApacheOptions asking(Authentication scheme) {
        return {.authentication = scheme, .account = {"ann", PASSWORD}};
    }
    support::Outcome login(const std::string& name, const std::string& url,
                           const std::string& file = "right") const {
        return quillon({"login", name, url, "-u", "ann", "--password-file", file});
    }
    std::string configText() const { return support::readFile(configFile); }
    void writeConfig(std::string_view text, mode_t mode = 0600) const {
        support::writeFile(configFile, text);
        chmod(configFile.c_str(), mode);
    }
    static void expect(const support::Outcome& outcome, int exitCode, std::string_view told) {
        EXPECT_EQ(outcome.exitCode, exitCode) << outcome.output << outcome.errors;
        EXPECT_NE((outcome.output + outcome.errors).find(told), std::string::npos)
            << outcome.output << outcome.errors;
    }

    const std::filesystem::path config = home / "config" / "quillon";
    const std::filesystem::path configFile = config / "config.toml";
    const std::filesystem::path keyFile = config / "key";
};

TEST_F(Sites, aNameStandsForTheUrl) {
    for (const Authentication scheme : {Authentication::basic, Authentication::digest}) {
        const support::Apache server(asking(scheme));
        server.addMember("file", "content");
        server.addCollection("my reports");
        server.addMember("my reports/q3", "42");
        expect(login("work.1", server.url()), 0, "work.1: is " + server.url() + ", user ann");
        EXPECT_EQ(support::modeOf(configFile), 0600u);
        const std::pair<Arguments, std::string> rows[] = {
            {{"ls", "work.1:"}, "file\nmy reports/\n"},
            {{"ls", "work.1:/"}, "file\nmy reports/\n"},
            {{"ls", "work.1:my reports/"}, "q3\n"},
            {{"get", "work.1:my%20reports/q3", "-"}, "42"},
            {{"sites"}, "work.1  " + server.url() + "  ann  password stored\n"},
        };
        for (const auto& [arguments, output] : rows) {
            const support::Outcome outcome = quillon(arguments);
            EXPECT_EQ(outcome.output, output) << outcome.errors;
        }
        const auto listed = nlohmann::json::parse(quillon({"sites", "--json"}).output);
        EXPECT_EQ(listed[0]["passwordStored"], true);
        EXPECT_FALSE(listed[0].contains("password"));

        support::Command edit = command({"edit", "work.1:file"});
        support::writeFile(work / "editor", "#!/bin/sh\necho edited > \"$1\"\n");
        chmod((work / "editor").c_str(), 0700);
        edit.environment["VISUAL"] = work / "editor";
        expect(support::run(edit), 0, "");
        EXPECT_EQ(quillon({"get", "work.1:file", "-"}).output, "edited\n");
        const Arguments changes[] = {
            {"mkcol", "work.1:new"},
            {"put", "right", "work.1:new/"},
            {"mv", "work.1:new/right", "moved"},
            {"lock", "work.1:new/moved", "--", "true"},
            {"rm", "work.1:new/moved"},
            {"rmcol", "work.1:new"},
        };
        for (const Arguments& arguments : changes) expect(quillon(arguments), 0, "");
        support::Command shell = command({"shell", "work.1:my reports"});
        shell.input = "ls\ncd work.1:\nls\n";
        EXPECT_EQ(support::run(shell).output, "q3\nfile\nmy reports/\n");
        EXPECT_EQ(quillon({"__complete", "ls", "wo"}).output, "work.1:\t" + server.url() + "\n");
        EXPECT_EQ(quillon({"__complete", "get", "work.1:f"}).output, "work.1:file\t\n");

        // Somebody else than the site's user has another password.
        expect(quillon({"ls", "-u", "bob", "work.1:"}), 2, "password of bob");
        expect(quillon({"ls", "--password-file", "wrong", "work.1:"}), 4, "");

        expect(quillon({"logout", "work.1"}), 0, "");
        EXPECT_EQ(configText(), "");
        expect(quillon({"ls", "work.1:"}), 2, "There is no site \"work.1\". None is stored");
    }
}

TEST_F(Sites, thePasswordIsNowhereInClear) {
    const support::Apache server(asking(Authentication::basic));
    const auto logged =
        quillon({"-vv", "login", "work", server.url(), "-u", "ann", "--password-file", "right"});
    const auto listed = quillon({"-vv", "ls", "work:"});
    EXPECT_EQ(listed.exitCode, 0) << listed.errors;
    EXPECT_NE(logged.errors.find("quillonPasswordEncrypt"), std::string::npos);
    const std::string everything =
        configText() + logged.output + logged.errors + listed.output + listed.errors;
    for (const char* secret : {"geheim", "Z2VoZWlt", "YW5uOmdl"}) {
        EXPECT_EQ(everything.find(secret), std::string::npos) << secret;
    }
    support::ScriptedServer slow;
    support::serveTree(slow, "/", {{"file", ""}});
    slow.on("HEAD", "/", support::Answer(200).stalledAfter(0));
    writeConfig("[sites.slow]\nurl = '" + slow.url("") + "'\nuser = 'ann'\n" +
                configText().substr(configText().find("password")));
    support::RunningProcess program(command({"ls", "slow:"}));
    ASSERT_TRUE(slow.waitForRequests(1));
    const std::string process = "/proc/" + std::to_string(program.pid());
    for (const char* place : {"/cmdline", "/environ"}) {
        EXPECT_EQ(support::readFile(process + place).find("geheim"), std::string::npos);
    }
}

TEST_F(Sites, aPasswordIsAskedForWithoutEchoOnceTheServerWantsOne) {
    const support::Apache server(asking(Authentication::digest));
    support::RunningProcess program(command({"login", "work", server.url()}),
                                    support::Streams::terminal);
    ASSERT_TRUE(program.expect("User name at"));
    program.send("ann\n");
    ASSERT_TRUE(program.expect("Password of ann"));
    program.send(std::string(PASSWORD) + "\n");
    const auto outcome = program.wait();
    ASSERT_TRUE(outcome);
    EXPECT_EQ(outcome->exitCode, 0) << outcome->output;
    EXPECT_EQ(outcome->output.find("geheim"), std::string::npos);
    EXPECT_EQ(quillon({"ls", "work:"}).exitCode, 0);
}

TEST_F(Sites, whatTheServerRefusesIsNotStored) {
    const support::Apache server(asking(Authentication::basic));
    const std::string url = server.url();
    struct Row {
        Arguments arguments;
        int exitCode;
        const char* told;
    };
    const Row rows[] = {
        {{"login", "work", url, "-u", "ann", "--password-file", "wrong"}, 4, "Nothing was stored"},
        {{"login", "work", url, "-u", "ann"}, 2, "no terminal"},
        {{"login", "work", url}, 4, "Nothing was stored"},
        {{"login", "work", url + "no/", "-u", "ann", "--password-file", "right"}, 3, "no coll"},
        {{"login", "work"}, 2, "Give its URL"},
        {{"login", "w", url}, 2, "two letters"},
        {{"login", "a:b", url}, 2, "two letters"},
        {{"login", "http", url}, 2, "two letters"},
        {{"login", "work", "ftp://h/"}, 2, "https://"},
        {{"logout", "work"}, 2, "There is no site"},
        {{"ls", "work:x"}, 2, "There is no site"},
        {{"ls", "w:x"}, 2, "not the URL"},
    };
    for (const Row& row : rows) {
        expect(quillon(row.arguments), row.exitCode, row.told);
        EXPECT_FALSE(std::filesystem::exists(configFile));
    }
}

TEST_F(Sites, aChangedPassword) {
    const support::Apache server(asking(Authentication::basic));
    ASSERT_EQ(login("work", server.url()).exitCode, 0);
    const support::Apache changed(
        {.authentication = Authentication::basic, .account = {"ann", "falsch"}});
    std::string text = configText();
    text.replace(text.find(server.url()), server.url().size(), changed.url());
    writeConfig(text);
    expect(quillon({"ls", "work:"}), 4, "If your password has changed: quillon login work");
    expect(quillon({"login", "work", "--password-file", "right"}), 4, "Nothing was stored");
    EXPECT_EQ(configText(), text);
    expect(quillon({"login", "work", "--password-file", "wrong"}), 0, "user ann");
    EXPECT_EQ(quillon({"ls", "work:"}).exitCode, 0);
}

TEST_F(Sites, anAlteredPasswordIsRefused) {
    const support::Apache server(asking(Authentication::basic));
    ASSERT_EQ(login("work", server.url()).exitCode, 0);
    const std::string good = configText();
    const size_t tag = good.find("{zeb");
    const size_t last = good.find('"', tag) - 1;
    // Of the tag's name, its version and end, the nonce, the sealed text, the authentication.
    for (const size_t at :
         {tag, tag + 1, tag + 5, tag + 10, tag + 11, tag + 12, tag + 30, tag + 50, last - 2}) {
        for (const char other : {'A', 'B', '}', '=', ' '}) {
            std::string text = good;
            if (text[at] == other) continue;
            text[at] = other;
            writeConfig(text);
            expect(quillon({"ls", "work:"}), 8, "Store it anew with \"quillon login\"");
        }
    }
    writeConfig(good);
    support::writeFile(keyFile, std::string(32, 'k'));
    expect(quillon({"ls", "work:"}), 8, "altered, or was stored with another key");
    std::filesystem::remove(keyFile);
    expect(quillon({"ls", "work:"}), 8, "key of your stored passwords is missing");
    expect(login("work", server.url()), 0, "");
    EXPECT_EQ(quillon({"ls", "work:"}).exitCode, 0);
    EXPECT_TRUE(server.accessLog().back().status == 207);
}

TEST_F(Sites, filesThatOthersCanUseAreNotUsed) {
    const support::Apache server(asking(Authentication::basic));
    ASSERT_EQ(login("work", server.url()).exitCode, 0);
    chmod(keyFile.c_str(), 0640);
    expect(quillon({"ls", "work:"}), 8, "Others can read or replace the key");
    expect(login("more", server.url()), 8, "Others can read or replace the key");
    chmod(keyFile.c_str(), 0600);
    const std::pair<mode_t, const char*> rows[] = {
        {0640, "Others can read"}, {0604, "Others can read"}, {0620, "Others can change"}};
    for (const auto& [mode, told] : rows) {
        chmod(configFile.c_str(), mode);
        expect(quillon({"ls", "work:"}), 8, told);
        expect(quillon({"sites"}), 8, "chmod 600 " + configFile.string());
        expect(login("more", server.url()), 8, told);
    }
    writeConfig("[sites.open]\nurl = '" + server.url() + "'\nuser = 'ann'\n", 0644);
    expect(quillon({"ls", "--password-file", "right", "open:"}), 0, "");
}

TEST_F(Sites, ownTextSurvivesALoginAndALogout) {
    const support::Apache server;
    const std::string own = "# mine\n[sites.home] # here\nurl = 'https://h/'\nx = [1] # y\n";
    std::filesystem::create_directory(home / "dotfiles");
    support::writeFile(home / "dotfiles/quillon.toml", own);
    std::filesystem::create_symlink(home / "dotfiles/quillon.toml", configFile);
    expect(quillon({"login", "work", server.url()}), 0, "work: is " + server.url() + "\n");
    EXPECT_EQ(configText(), own + "\n[sites.work]\nurl = \"" + server.url() + "\"\n");
    EXPECT_TRUE(std::filesystem::is_symlink(configFile));
    expect(quillon({"logout", "work"}), 0, "");
    EXPECT_EQ(configText(), own);

    const std::string hard = "sites = { home = { url = 'https://h/' } }\n";
    writeConfig(hard);
    expect(quillon({"login", "work", server.url()}), 8, "left alone");
    expect(quillon({"login", "work", server.url()}), 8, "\n  [sites.work]\n  url = \"");
    EXPECT_EQ(configText(), hard);
    writeConfig("[sites.home\n");
    expect(quillon({"ls", "home:"}), 8, configFile.string() + ":\n  Line 1");
    EXPECT_EQ(quillon({"ls", server.url()}).exitCode, 0);  // no site, no configuration
}

TEST_F(Sites, loginsAtTheSameTimeAreAllKept) {
    const support::Apache server(asking(Authentication::basic));
    std::vector<std::thread> people;
    for (int i = 0; i < 6; ++i) {
        people.emplace_back(
            [&, i] { EXPECT_EQ(login("site" + std::to_string(i), server.url()).exitCode, 0); });
    }
    for (std::thread& person : people) person.join();
    EXPECT_EQ(nlohmann::json::parse(quillon({"sites", "--json"}).output).size(), 6u);
    for (int i = 0; i < 6; ++i) {
        EXPECT_EQ(quillon({"ls", "site" + std::to_string(i) + ":"}).exitCode, 0);
    }
}

TEST_F(Sites, aSiteHasItsOwnAuthority) {
    const support::Apache server({.tls = true});
    server.addMember("file", "content");
    std::filesystem::copy(support::certificates().authority, work / "ca.pem");
    expect(quillon({"login", "work", server.url()}), 7, "Nothing was stored");
    expect(quillon({"login", "work", "--ca-file", "ca.pem", "--timeout", "9", server.url()}), 0,
           "");
    EXPECT_NE(configText().find("ca-file = \"" + (work / "ca.pem").string() + "\"\ntimeout = 9\n"),
              std::string::npos);
    const support::Apache other;
    other.addMember("file", "more");
    expect(quillon({"get", "work:file", other.url("file"), "-"}), 0, "contentmore");
    expect(quillon({"login", "work"}), 0, "");
    writeConfig("[sites.work]\nurl = '" + server.url() + "'\nca-file = 'own.pem'\n");
    std::filesystem::copy(support::certificates().authority, config / "own.pem");
    expect(quillon({"ls", "work:"}), 0, "file");
    writeConfig("[sites.work]\nurl = '" + other.url() + "'\nproxy = 'http://127.0.0.1:1'\n");
    expect(quillon({"ls", "work:"}), 7, "");
    expect(quillon({"ls", "--proxy", other.url(), "work:"}), 0, "file");
}

TEST_F(Sites, encodedTextsServeInAConfiguration) {
    const support::Apache server(asking(Authentication::digest));
    support::Command encode = command({"encode"});
    encode.input = std::string(PASSWORD) + "\nmore\n";
    const support::Outcome encoded = support::run(encode);
    ASSERT_EQ(encoded.output.substr(0, 12), "{zebsodium1}") << encoded.errors;
    writeConfig("[sites.work]\nurl = '" + server.url() + "'\nuser = 'ann'\npassword = '" +
                encoded.output.substr(0, encoded.output.size() - 1) + "'\n");
    expect(quillon({"ls", "work:"}), 0, "");
    encode.input = encoded.output;  // encoded already: of the same password
    expect(support::run(encode), 0, "{zebsodium1}");
    encode.input = "   \n";
    expect(support::run(encode), 2, "blanks alone");
    support::writeFile(work / "tagged", "{cfg}secret");
    const support::Apache open;
    expect(login("open", open.url(), "tagged"), 2, "begins like an encoded one");
    EXPECT_EQ(configText().find("{cfg}"), std::string::npos);
}

}  // namespace
}  // namespace quillon::cli
