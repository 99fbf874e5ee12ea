// Sites: stored passwords, and names instead of URLs.
#include <thread>

#include "tests/cli/program.hpp"
#include "tests/support/certificate.hpp"

namespace quillon::cli {
namespace {

constexpr const char* password = "geheim \xC3\xBC\" \\x: 100%";

class Sites : public ProgramTest {
protected:
    Sites() {
        writeFile(work / "right", std::string(password) + "\n");
        writeFile(work / "wrong", "falsch\n");
        writeFile(work / "nul", std::string(password) + std::string(1, '\0'));
    }
    static Arguments login(const std::string& url, const std::string& name = "work",
                           const std::string& file = "right") {
        return {"login", name, url, "-u", "ann", "--password-file", file};
    }
    static Row stored(const std::string& url) {
        return {login(url), 0, "work: is " + url + ", user ann\n"};
    }

    const std::filesystem::path config = home / "config" / "quillon";
    const std::filesystem::path keyFile = config / "key";
    const Apache open;
    const Apache server{{.authentication = Authentication::basic, .account = {"ann", password}}};
    const std::string url = server.url();
};

TEST_F(Sites, aNameStandsForTheUrl) {
    server.addMember("file", "content");
    server.addCollection("my reports");
    server.addMember("my reports/q3", "42");
    const std::string json =
        "[{\"name\":\"work\",\"url\":\"" + url + "\",\"user\":\"ann\",\"passwordStored\":true}]\n";
    editWith("echo edited > \"$1\"");
    expect({stored(url),
            {{"ls", "work:"}, 0, "file\nmy reports/\n"},
            {{"ls", "work:/my reports/"}, 0, "q3\n"},
            {{"get", "work:my%20reports/q3", "-"}, 0, "42"},
            {{"sites"}, 0, "work  " + url + "  ann  password stored\n"},
            {{"sites", "--json"}, 0, json},
            {{"mv", "work:file", "work:f"}, 0, ""},
            {{"mv", "work:f", "file"}, 0, ""},
            {{"edit", "work:file"}, 0, ""},
            {{"get", "work:file", "-"}, 0, "edited\n"},
            {{"sync", "--yes", "pair", "work:my reports"}, 0, ""},
            {{"sync", "pair"}, 0, ""},  // which gets in by the same site
            // Somebody else than the site's user has another password.
            {{"ls", "-u", "bob", "work:"}, 4, "password of bob"},
            {{"ls", "--password-file", "wrong", "work:"}, 4, ""}});
    EXPECT_EQ(support::modeOf(siteFile()), 0600u);
    EXPECT_EQ(support::modeOf(siteFile().parent_path()), 0700u);
    expect(quillon({"shell", "work:my reports"}, "ls\ncd work:\nls\n"), 0,
           "q3\nfile\nmy reports/\n");
    expect({{{"login", "work", open.url()}, 0, "work: is " + open.url() + "\n"},  // ann no more
            {{"logout", "work"}, 0, ""},
            {{"ls", "work:"}, 2, "There is no site \"work\". None is stored"},
            {{"sync", "pair"}, 4, "was paired, is not there any more"},
            {{"-uann", "--password-file", "right", "sync", "pair"},
             0,
             "",
             "both sides are the same"}});
    EXPECT_FALSE(std::filesystem::exists(siteFile()));
}

TEST_F(Sites, credentialsComeFromEachPlace) {
    const std::string inUrl = "http://ann:geheim%20%C3%BC%22%20%5Cx%3A%20100%25@" + url.substr(7);
    const std::string noNtlm = "does not offer NTLM; it takes logins by Basic";
    expect(
        {{{"ls", url}, 4, "Give a user name with --user"},
         {{"ls", inUrl}, 0, ""},
         {{"ls", "-u", "", url}, 2, "--user: its value is empty"},
         {{"ls", "--auth=ntlm", "-uann", "--password-file", "right", url}, 4, noNtlm},
         {{"login", "work", "--auth=ntlm", "-uann", "--password-file", "right", url}, 4, noNtlm},
         {{"ls", "--auth=negotiate", url}, 4, "does not offer Negotiate; it takes logins by Basic"},
         {{"ls", "-u", "ann", "--password-file", "none", url}, 8, "password file none"},
         {{"ls", "-u", "ann", "--password-file", "nul", url}, 8, "file nul holds a NUL or a line"},
         {{"ls", "-u", "a\nb", url}, 2, "A user name must hold no NUL and no line break"},
         {{"ls", "-u", "ann:geheim", url}, 2, "A user name must hold no colon; a password is"},
         {{"login", "work", "http://a%3Ab:c@h/"}, 2, "A user name must hold no colon"},
         {{"ls", "http://ann:a%00b@h/"}, 2, "password holds a NUL"}});
    writeFile(home / "netrc",
              "machine 127.0.0.1 login ann password "
              "\"geheim \xC3\xBC\\\" \\\\x: 100%\"\n");
    expect({{{"ls", url}, 0, "", "others can read " + (home / "netrc").string()}});
    chmod((home / "netrc").c_str(), 0620);
    expect({{{"ls", url}, 0, "", "others can change " + (home / "netrc").string()}});
    chmod((home / "netrc").c_str(), 0600);
    expect({{{"ls", url}, 0, ""},
            {{"ls", "-u", "ann", url}, 0, ""},
            {{"login", "work", url}, 0, "work: is " + url + ", user ann\n", "and stays there"},
            {{"sites"}, 0, "work  " + url + "  ann  no password stored\n"},
            {{"sites", "work:"}, 0, "url   " + url + "\nuser  ann\n"},
            {{"ls", "work:"}, 0, ""},
            {{"-u", "ann", "--password-file", "wrong", "ls", url}, 4, "refused"}});
    writeFile(home / "netrc", "machine 127.0.0.1 login ann password wrong\n");
    expect({{{"login", "work"}, 4, "netrc file.\n  Nothing was stored"}});
    EXPECT_EQ(answered({"login", "work"}, {{"Password of ann", password}}).exitCode, 0);
    expect({{{"ls", "work:"}, 0, ""}, {{"logout", "work"}, 0, ""}});
    server.clearTranscript();
    expect({{{"get", url + "f"}, 4, "again.\n  The password is that of the netrc file"}});
    EXPECT_EQ(server.transcript(), "GET /f 401\nGET /f 401\n");  // it goes once
    server.clearTranscript();
    expect({{{"rm", url + "f", url + "g"}, 4, url + "g:\n  The server refused"}});
    const std::string asked = server.transcript();
    const std::regex refused("HEAD / 401");
    EXPECT_EQ(std::distance(std::sregex_iterator(asked.begin(), asked.end(), refused), {}), 2);
    writeFile(home / "netrc", "machine 127.0.0.1\nlogin ann password \"a\nb\"");
    const std::string ends = "ends in line 3 of " + (home / "netrc").string();
    expect({{{"ls", url}, 8, ends + " holds a NUL"}});
    writeFile(home / "netrc", "machine 127.0.0.1\nlogin a:b\npassword c");
    expect({{{"ls", url}, 8, ends + ": its user name must hold no colon"}});
    environment["NETRC"] = "/dev/zero";
    expect({{{"ls", url}, 8, "/dev/zero has more than 1 MiB"}});
}

TEST_F(Sites, aPasswordInClearToAnotherMachineIsToldOfOnce) {
    std::string other = url;
    other.replace(other.find("127.0.0.1"), 9, "0.0.0.0");  // which counts as another
    const auto warnings = [&](const std::string& target, const Arguments& more = {}) {
        const Arguments shell{"shell", "-uann", "--password-file", "right", target};
        const std::string told = quillon(joined(shell, more), "ls\nmkcol a\nls a\n").errors;
        const std::regex warning("unprotected");
        return std::distance(std::sregex_iterator(told.begin(), told.end(), warning), {});
    };
    EXPECT_EQ(warnings(other), 1);
    EXPECT_EQ(warnings(other, {"--header", "X-A: b"}), 2);
    EXPECT_EQ(warnings(other, {"--auth", "ntlm"}), 1);
    EXPECT_EQ(warnings(url), 0);
    writeSite("url = '" + other + "'\ninsecure-basic = true\n");
    EXPECT_EQ(warnings("work:"), 0);
    expect(
        {{{"ls", "-uann", "--password-file", "right", url}, 0, "a/\n", "others can read right"}});
}

TEST_F(Sites, thePasswordIsNowhereInClear) {
    const std::string logged = quillon(joined({"-vvv"}, login(url))).errors;
    EXPECT_NE(logged.find("quillonPasswordEncrypt"), std::string::npos);
    expectHidden(logged + siteText() + quillon({"-vv", "ls", "work:"}).errors,
                 {"geheim", "Z2VoZWlt", "YW5uOmdl"});
}

TEST_F(Sites, aPasswordIsAskedForWithoutEchoOnceTheServerWantsOne) {
    const Apache digest({.authentication = Authentication::digest, .account = {"ann", password}});
    digest.addMember("file", "");
    const std::string who = "User name at http://127.0.0.1:";
    const std::pair<Arguments, const char*> rows[] = {
        {{"ls", digest.url()}, "\nfile"},
        {{"get", digest.url("file")}, "\nfetched file"},
        {{"login", "work", digest.url()}, "work: is "}};
    for (const auto& [arguments, told] : rows) {
        const auto in = answered(arguments, {{who, "ann"}, {"Password of ann", password}});
        EXPECT_EQ(in.exitCode, 0);
        EXPECT_NE(in.output.find(told, in.output.find("Password of ann")), std::string::npos)
            << in.output;
        expectHidden(in.output, {"geheim"});
        EXPECT_EQ(answered(arguments, {{who, ""}}).exitCode, 4);
        const auto refused = answered(arguments, {{who, "ann:x"}});
        EXPECT_EQ(refused.exitCode, 2);
        EXPECT_NE(refused.output.find("A user name must hold no colon"), std::string::npos);
    }
    expect({{{"ls", "work:"}, 0, "file\n"}});
}

TEST_F(Sites, whatTheServerRefusesIsNotStored) {
    writeFile(work / "tagged", "{cfg}secret");
    expect({{login(url, "work", "wrong"), 4, "Nothing was stored"},
            {{"login", "work", url, "-u", "ann"}, 4, "no terminal"},
            {{"login", "work", url}, 4, "Nothing was stored"},
            {login(url + "no/"), 3, "no coll"},
            {{"login", "work"}, 2, "Give its URL"},
            {login(url, "a:b"), 2, "two letters"},
            {login("ftp://h/"), 2, "https://"},
            {login(open.url(), "open", "tagged"), 2, "begins like an encoded one"},
            {{"logout", "work"}, 2, "There is no site"},
            {{"logout", "w"}, 2, ":\n  A site's name is two letters"},
            {{"ls", "w:x"}, 2, "not the URL"}});
    EXPECT_FALSE(std::filesystem::exists(siteFile()));
}

TEST_F(Sites, aChangedPassword) {
    const Apache changed({.authentication = Authentication::basic, .account = {"ann", "falsch"}});
    changed.addMember("file", "");
    expect({stored(url)});
    std::string text = siteText();
    writeSite(text.replace(text.find(url), url.size(), changed.url()));
    expect({{{"ls", "work:"}, 4, "If your password has changed: quillon login work"},
            {{"login", "work", "--password-file", "right"}, 4, "Nothing was stored"}});
    EXPECT_EQ(siteText(), text);
    const std::string told = "work: is " + changed.url() + ", user ann\n";
    const std::string lines = "ls work:\nlogin work --password-command 'cat wrong'\nls work:\n";
    EXPECT_EQ(quillon({"shell", open.url()}, lines).output, told + "file\n");
    expect(
        {{{"login", "work", "--password-file", "wrong"}, 0, told}, {{"ls", "work:"}, 0, "file\n"}});
}

TEST_F(Sites, whatOthersCanUseOrHaveAlteredIsNotUsed) {
    expect({stored(url)});
    const std::tuple<std::filesystem::path, mode_t, const char*> modes[] = {
        {keyFile, 0640, "Others can read or replace the key"},
        {siteFile(), 0640, "Others can read"},
        {siteFile(), 0604, "Others can read"},
        {siteFile(), 0620, "Others can change"}};
    for (const auto& [file, mode, told] : modes) {
        chmod(file.c_str(), mode);
        expect({{{"ls", "work:"}, 8, told}, {login(url), 8, told}});
        chmod(file.c_str(), 0600);
    }
    writeFile(keyFile, std::string(32, 'k'));
    tells({"ls", "work:"}, 8,
          {"altered, or was stored with another", "Use quillon login for that"});
    std::filesystem::remove(keyFile);
    expect({{{"ls", "work:"}, 8, "key of your stored passwords is missing"},
            stored(url),
            {{"ls", "work:"}, 0, ""}});
    writeSite("url = '" + url + "'\nuser = 'ann'\n", 0644);
    expect({{{"ls", "--password-file", "right", "work:"}, 0, ""}});
    const std::string proxy = "proxy = 'http://a:b@127.0.0.1:1'\n";
    writeSite("url = '" + url + "'\n" + proxy, 0644);
    expect({{{"ls", "work:"}, 8, "Others can read"}});
    writeSite("url = '" + url + "'\n" + proxy);
    expect({{{"sites", "work"}, 0, "url    " + url + "\nproxy  http://***@127.0.0.1:1\n"}});
}

TEST_F(Sites, aPersonsOwnTextSurvives) {
    const Arguments login{"login", "work", open.url()};
    const std::string line = "url = \"" + open.url() + "\"\n", own = line + "# mine\n";
    const Row out{{"logout", "work"}, 0, ""};
    writeSite(own);
    expect({{{"ls", "work:"}, 0, ""},
            {login, 8, "left alone.\n  Make these lines of it yourself:\n  " + line},
            {out.arguments, 8, "left alone.\n  Remove it yourself: rm " + siteFile().string()}});
    EXPECT_EQ(siteText(), own);

    writeFile(home / "dotfile", line + "jobs = 3\n");
    std::filesystem::remove(siteFile());
    std::filesystem::create_symlink(home / "dotfile", siteFile());
    expect({{login, 0, "work: is " + open.url() + "\n"}});
    EXPECT_EQ(support::readFile(home / "dotfile"), line + "jobs = 3\n");
    EXPECT_TRUE(std::filesystem::is_symlink(siteFile()));
    support::RunningProcess program(command({"login", "work", url, "-u", "ann"}),
                                    support::Streams::terminal);
    ASSERT_TRUE(program.expect("Password of ann"));
    program.signal(SIGCONT);  // as by fg, behind Ctrl-Z
    ASSERT_TRUE(program.expect("Password of ann"));
    writeSite(line + "jobs = 4\n");
    program.send(std::string(password) + "\n");
    EXPECT_TRUE(program.expect("It was changed meanwhile"));
    EXPECT_EQ(program.wait()->exitCode, 8);
    EXPECT_EQ(siteText(), line + "jobs = 4\n");
    expect({out});
}

TEST_F(Sites, aWrongSiteKeepsNoOtherFromItsWork) {
    writeSite("url = '" + open.url() + "'\nusr = 'ann'\n");
    writeFile(config / "sites/bad.toml", "url = '" + open.url() + "'\njobs = 0\n");
    writeFile(config / "sites/b.toml", "");
    writeFile(config / "config.toml", "");
    const std::string wrong = (config / "sites/bad.toml").string() + ":\n  Line 2: jobs";
    const std::string moved = "config.toml is not read.";
    expect({{{"ls", "work:"}, 0, "", "usr is no key of a site and sets nothing; user is one"},
            {{"ls", "bad:"}, 8, wrong},
            {{"login", "bad", open.url()}, 8, wrong}});
    tells({"ls", "none:"}, 2, {"Known: b, bad, work.", moved});
    tells({"sites"}, 8, {wrong, "sites/b.toml:\n  A site's name is two letters", moved});
    EXPECT_EQ(quillon({"sites"}).output, "work  " + open.url() + "  -  no password stored\n");
    EXPECT_EQ(quillon({"__complete", "ls", ""}).output, "bad:\t\nwork:\t" + open.url() + "\n");
}

TEST_F(Sites, loginsAtTheSameTimeAreAllKept) {
    const std::string names[] = {"s1", "s2", "s3", "s4", "s5", "s6"};
    std::vector<std::thread> people;
    for (const std::string& name : names) {
        people.emplace_back([&] { EXPECT_EQ(quillon(login(url, name)).exitCode, 0); });
    }
    for (std::thread& person : people) person.join();
    for (const std::string& name : names) expect({{{"ls", name + ":"}, 0, ""}});
}

TEST_F(Sites, aSiteHasItsOwnAuthorityAndProxy) {
    const Apache secure({.tls = true});
    secure.addMember("file", "content");
    open.addMember("file", "more");
    std::filesystem::copy(support::certificate().file, work / "ca.pem");
    const std::string isSecure = "work: is " + secure.url() + "\n";
    expect({{{"login", "work", "--ca-file", "ca.pem", secure.url()}, 0, isSecure},
            {{"get", "work:file", open.url("file"), "-"}, 0, "contentmore"}});
    EXPECT_TRUE(siteText().ends_with("ca-file = \"" + (work / "ca.pem").string() + "\"\n"));
    std::filesystem::copy(support::certificate().file, config / "sites/own.pem");
    writeSite("url = '" + secure.url() + "'\nca-file = 'own.pem'\n");
    expect({{{"ls", "work:"}, 0, "file\n"}});
    writeSite("url = '" + open.url() + "'\nproxy = 'http://127.0.0.1:1'\n");
    expect({{{"ls", "work:"}, 7, ""}, {{"ls", "--proxy", open.url(), "work:"}, 0, "file\n"}});
}

TEST_F(Sites, encodedTextsServeInAFile) {
    const std::string encoded = quillon({"encode"}, std::string(password) + "\nmore\n").output;
    writeSite("url = '" + url + "'\nuser = 'ann'\npassword = '" +
              encoded.substr(0, encoded.size() - 1) + "'\n");
    expect({{{"ls", "work:"}, 0, ""}});
    for (const std::string& tagged : {encoded, std::string("{cfg}s"), std::string("{base64}eA==")})
        expect(quillon({"encode"}, tagged), 2, "begins like an encoded one");
    expect(quillon({"encode"}, "   \n"), 2, "blanks alone");
}

}  // namespace
}  // namespace quillon::cli
