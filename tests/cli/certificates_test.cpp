// Certificates: of the person, and of servers that nobody vouches for.
#include <cstdio>
#include <fstream>

#include "tests/cli/program.hpp"
#include "tests/support/certificate.hpp"
#include "tests/support/scripted_server.hpp"

namespace quillon::cli {
namespace {

using support::makeCertificate;

class ShownCertificates : public ProgramTest {
protected:
    std::string openssl(const std::string& script) const {
        return support::runChecked({.arguments = {"sh", "-c", script}, .directory = work.path()});
    }
    void writeSite(const std::string& text) const {
        std::filesystem::create_directories(siteFile.parent_path());
        writeFile(siteFile, text);
        chmod(siteFile.c_str(), 0600);
    }

    const std::filesystem::path siteFile = home / "config/quillon/sites/work.toml";
};

TEST_F(ShownCertificates, aPersonHasOne) {
    const auto own = makeCertificate(work.path(), "own"),
               strange = makeCertificate(work.path(), "s");
    const Apache server({.tls = true, .clientAuthority = own.file});
    const std::string url = server.url(), authority = support::certificate().file;
    openssl(
        "cat own.pem own.key > both.pem;"
        "openssl ec -in own.key -aes128 -passout pass:geheim -out locked.key;"
        "openssl pkcs12 -export -legacy -in own.pem -inkey own.key -passout pass:geheim -out "
        "own.p12;"
        "openssl pkcs12 -export -in own.pem -inkey own.key -passout pass: -out open.p12");
    const auto ls = [&](Arguments more) {
        more.insert(more.begin(), {"ls", "--ca-file", authority});
        more.push_back(url);
        return more;
    };
    expect({{ls({"--cert", "own.pem", "--key", "own.key"}), 0, ""},
            {ls({"--cert", "both.pem"}), 0, ""},
            {ls({"--cert", "open.p12"}), 0, ""},
            {ls({}), 4, "The server wants a certificate of yours"},
            {ls({}), 4, "Give it with --cert"},
            {ls({"--cert", "s.pem", "--key", "s.key"}), 4, "alert unknown ca"},
            {ls({"--cert", "own.pem", "--key", "s.key"}), 8, "s.key: the key is not that of"},
            {ls({"--cert", "own.key"}), 8, "own.key: it holds no certificate"},
            {ls({"--cert", "own.pem"}), 8, "own.pem: it holds no private key"},
            {ls({"--key", "own.key"}), 2, "--key is that of a certificate"},
            {ls({"--cert", "own.pem", "--key", "locked.key"}), 4, "locked.key has a passphrase"},
            {ls({"--cert", "own.p12"}), 4, "own.p12 has a passphrase, and there is no terminal"}});
    for (const Arguments& words :
         {ls({"--cert", "own.p12"}), ls({"--cert", "own.pem", "--key", "locked.key"})}) {
        for (const auto& [passphrase, told] :
             {std::pair("geheim\n", ""),
              std::pair("falsch\n", "passphrase is not the right one")}) {
            support::RunningProcess program(command(words), support::Streams::terminal);
            ASSERT_TRUE(program.expect("Passphrase of "));
            program.send(passphrase);
            EXPECT_EQ(program.wait()->exitCode, *told == 0 ? 0 : 8) << program.output();
            EXPECT_NE(program.output().find(told), std::string::npos) << program.output();
            EXPECT_EQ(program.output().find("geheim"), std::string::npos);
        }
    }
    expect({{{"login", "work", url, "--ca-file", authority, "--cert", "own.p12"}, 4, "passphrase"},
            {{"login", "work", url, "--ca-file", authority, "--cert", "both.pem"},
             0,
             "work: is " + url + "\n"},
            {{"ls", "work:"}, 0, ""},
            {{"sites"}, 0, "work  " + url + "  -  by certificate\n"}});
    const std::string start = "url = '" + url + "'\nca-file = '" + authority + "'\n";
    std::filesystem::copy(work / "own.p12", siteFile.parent_path());
    for (const char* key : {"password-command", "key-password-command"}) {
        writeSite(start + "cert = 'own.p12'\n" + key + " = ['echo', 'geheim']\n");
        expect({{{"ls", "work:"}, 0, ""}});
    }
}

// What its owner typed is gone once the key is read.
TEST_F(ShownCertificates, aPassphraseDoesNotStayInMemory) {
    const auto own = makeCertificate(work.path(), "own");
    openssl(
        "openssl pkcs12 -export -in own.pem -inkey own.key -passout pass:sehr-geheim "
        "-out own.p12");
    support::ScriptedServer server;
    server.on("*", "*", support::Answer(200, "x").stalledAfter(0));
    support::RunningProcess program(command({"cat", "--cert", "own.p12", server.url("c/f")}),
                                    support::Streams::terminal);
    ASSERT_TRUE(program.expect("Passphrase of "));
    program.send("sehr-geheim\n");
    ASSERT_TRUE(support::eventually([&] { return !server.requests().empty(); }));
    const std::string process = "/proc/" + std::to_string(program.pid());
    std::ifstream maps(process + "/maps"), memory(process + "/mem", std::ios::binary);
    size_t searched = 0;
    for (std::string line; std::getline(maps, line);) {
        size_t begin = 0, end = 0;
        char mode = 0;
        if (std::sscanf(line.c_str(), "%zx-%zx %c", &begin, &end, &mode) != 3 || mode != 'r')
            continue;
        std::string content(end - begin, '\0');
        memory.clear();
        memory.seekg(static_cast<std::streamoff>(begin));
        memory.read(content.data(), static_cast<std::streamsize>(content.size()));
        searched += static_cast<size_t>(memory.gcount());
        EXPECT_EQ(content.find("sehr-geheim"), content.npos) << line;
    }
    EXPECT_TRUE(geteuid() != 0 || searched > size_t{1} << 20);  // nobody else may look there
}

TEST_F(ShownCertificates, aServerThatNobodyVouchesForIsPinned) {
    const Apache server({.tls = true, .http2 = true});
    const Apache changed({.tls = true, .identity = makeCertificate(work.path(), "changed")});
    const std::string url = server.url();
    const std::string file = support::certificate().file;
    const auto line = [](std::string text) { return text.substr(text.find('=') + 1); };
    const std::string fingerprint =
        line(openssl("openssl x509 -noout -sha256 -fingerprint -in " + file));
    const auto pinOf = [&](const std::string& certificate) {
        const std::string base64 =
            openssl("openssl x509 -noout -pubkey -in " + certificate +
                    " | openssl pkey -pubin -outform DER | openssl dgst -sha256 -binary | base64");
        return "sha256//" + base64.substr(0, base64.size() - 1);
    };
    const std::string pin = pinOf(file), other = pinOf((work / "changed.pem").string());
    expect({{{"login", "work", url}, 7, fingerprint.substr(0, 95)},
            {{"login", "work", url}, 7, "If that is the server's own: --pin " + pin},
            {{"ls", "--pin", pin, url}, 0, ""},
            {{"ls", "--pin", other, url}, 7, "key is " + pin + ", and it was " + other},
            {{"ls", "--pin", "sha256//x", url}, 2, "44 characters of base64"}});
    for (const auto& [answer, code] : {std::pair("n\n", 7), std::pair("y\n", 0)}) {
        support::RunningProcess program(command({"login", "work", url}),
                                        support::Streams::terminal);
        ASSERT_TRUE(program.expect("is for CN = quillon test, from CN = quillon test, valid from"));
        ASSERT_TRUE(program.expect(fingerprint.substr(0, 95)));
        ASSERT_TRUE(program.expect("[y/N] "));
        program.send(answer);
        EXPECT_EQ(program.wait()->exitCode, code) << program.output();
    }
    const std::string stored = support::readFile(siteFile);
    EXPECT_EQ(stored, "url = \"" + url + "\"\npin = \"" + pin + "\"\n");
    expect({{{"ls", "work:"}, 0, ""}});
    writeSite("url = '" + changed.url() + "'\nuser = 'ann'\npin = '" + pin + "'\n");
    writeFile(work / "password", "geheim");
    const Arguments ls{"ls", "--password-file", "password", "work:"};
    expect({{ls, 7, "key is " + other + ", and it was " + pin},
            {ls, 7, "nothing was sent to it"},
            {{"login", "work"}, 4, "no terminal to ask for the password"}});
    EXPECT_EQ(changed.transcript(), "");
}

}  // namespace
}  // namespace quillon::cli
