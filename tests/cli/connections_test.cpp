// What opens connections: certificates, pins, tickets, NTLM, proxies. The secret is "geheim".
#include <boost/asio/write.hpp>
#include <cstdio>
#include <fstream>

#include "tests/cli/program.hpp"
#include "tests/support/certificate.hpp"
#include "tests/support/connection_server.hpp"
#include "tests/support/scripted_server.hpp"

namespace quillon::cli {
namespace {

using support::Answer;
using support::makeCertificate;

class Connections : public ProgramTest {
protected:
    std::string shell(const std::string& script) const {
        return support::runChecked({{"sh", "-ec", script}, environment, {}, work.path()});
    }
    const std::string authority = support::certificate().file;
    const Arguments ownCertificate{"--cert", "own.pem", "--key", "own.key"};
};

TEST_F(Connections, logInByACertificate) {
    const auto own = makeCertificate(work.path(), "own");
    makeCertificate(work.path(), "s");
    const support::ApacheOptions options{.tls = true, .clientAuthority = own.file};
    const Apache server(options), another(options);
    const std::string url = server.url();
    shell(
        "cat own.pem own.key > both.pem; openssl ec -in own.key -aes128 -passout pass:geheim -out "
        "locked.key; for i in '-legacy -passout pass:geheim -out own.p12' '-passout pass: -out "
        "open.p12'; do openssl pkcs12 -export -in own.pem -inkey own.key $i; done");
    const std::tuple<Arguments, int, std::string> rows[] = {
        {ownCertificate, 0, ""},
        {{"--cert", "open.p12"}, 0, ""},
        {{}, 4, "does not take the one that it was shown.\n  Give it with --cert"},
        {{"--cert", "s.pem", "--key", "s.key"}, 4, "alert unknown ca"},
        {{"--cert", "own.pem", "--key", "s.key"}, 8, "s.key: the key is not that of"},
        {{"--cert", "own.key"}, 8, "own.key: it holds no certificate"},
        {{"--cert", "own.pem"}, 8, "own.pem: it holds no private key"},
        {{"--key", "own.key"}, 2, "--key is that of a certificate"},
        {{"--cert", "own.p12"}, 4, "own.p12 has a passphrase, and there is no terminal"}};
    const Arguments ls{"ls", "--ca-file", authority, url};
    for (const auto& [more, code, told] : rows) expect({{joined(ls, more), code, told}});
    for (const std::string deed : {"cp", "mv"}) {
        const Arguments line{deed, "--ca-file", authority, url, another.url()};
        expect({{joined(line, ownCertificate), 4, "of its first URL"}});
    }
    for (const Arguments& more :
         {Arguments{"--cert", "own.p12"}, {"--cert", "own.pem", "--key", "locked.key"}}) {
        const auto right = answered(joined(ls, more), {{"Passphrase of ", "geheim"}});
        EXPECT_EQ(right.exitCode, 0) << right.output;
        expectHidden(right.output, {"geheim"});
        EXPECT_EQ(answered(joined(ls, more), {{"Passphrase of ", "x"}}).exitCode, 4);
    }
    const Arguments login{"login", "work", url, "--ca-file", authority, "--cert", "both.pem"};
    expect({{login, 0, "work: is " + url + "\n"},
            {{"sites"}, 0, "work  " + url + "  -  by certificate\n"}});
    std::filesystem::copy(work / "own.p12", siteFile().parent_path());
    for (const std::string key : {"password-command", "key-password-command"}) {
        writeSite("url = '" + url + "'\nca-file = '" + authority + "'\ncert = 'own.p12'\n" + key +
                  " = ['echo', 'geheim']\n");
        expect({{{"ls", "work:"}, 0, ""}});
    }
}

// As far as somebody may look there: what was typed is gone once the key is read.
TEST_F(Connections, keepNoPassphraseInMemory) {
    makeCertificate(work.path(), "own");
    shell("openssl ec -in own.key -aes128 -passout pass:sehr-geheim -out locked.key");
    support::ScriptedServer server;
    server.on("*", "*", Answer(200, "x").stalledAfter(0));
    support::RunningProcess program(
        command({"cat", "--cert", "own.pem", "--key", "locked.key", server.url("c/f")}),
        support::Streams::terminal);
    ASSERT_TRUE(program.expect("Passphrase of "));
    program.send("sehr-geheim\n");
    ASSERT_TRUE(support::eventually([&] { return !server.requests().empty(); }));
    const std::string process = "/proc/" + std::to_string(program.pid());
    std::ifstream maps(process + "/maps"), memory(process + "/mem", std::ios::binary);
    std::string all;
    for (std::string line; std::getline(maps, line);) {
        size_t begin = 0, end = 0;
        if (std::sscanf(line.c_str(), "%zx-%zx r", &begin, &end) != 2) continue;
        if (end - begin > size_t{1} << 26) continue;  // a sanitizer's own
        std::string part(end - begin, '\0');
        memory.clear();
        memory.seekg(static_cast<std::streamoff>(begin)).read(part.data(), std::ssize(part));
        all.append(part, 0, static_cast<size_t>(memory.gcount()));
    }
    EXPECT_EQ(all.find("sehr-geheim"), all.npos);
    EXPECT_TRUE(geteuid() != 0 || all.find("locked.key") != all.npos);
}

TEST_F(Connections, trustAServerByItsKey) {
    const Apache server({.tls = true, .http2 = true});
    const Apache changed({.tls = true, .identity = makeCertificate(work.path(), "changed")});
    const std::string url = server.url();
    const auto pinOf = [&](const std::string& file) {
        return "sha256//" + shell("openssl x509 -noout -pubkey -in " + file +
                                  " | openssl pkey -pubin -outform DER | openssl dgst -sha256 "
                                  "-binary | base64 | tr -d '\\n'");
    };
    const std::string fingerprint =
        shell("openssl x509 -noout -sha256 -fingerprint -in " + authority + " | cut -d= -f2");
    const std::string pin = pinOf(authority), other = pinOf("changed.pem");
    const Arguments login{"login", "work", url};
    expect({{login, 7, fingerprint + "  If that is the server's own: --pin " + pin},
            {{"ls", "--pin", pin, url}, 0, ""},
            {{"ls", "--pin", "sha256//x", url}, 2, "44 characters of base64"}});
    EXPECT_EQ(answered(login, {{"[y/N] ", "n"}}).exitCode, 7);
    expectHidden(quillon(login).errors, {"quillon login"});
    const auto trusted = answered(login, {{"[y/N] ", "y"}});
    EXPECT_NE(trusted.output.find("for CN = quillon test, from CN = quillon test, valid"),
              std::string::npos);
    EXPECT_EQ(siteText(), "url = \"" + url + "\"\npin = \"" + pin + "\"\n");
    expect({{{"ls", "work:"}, 0, ""}});
    writeSite("url = '" + changed.url() + "'\nuser = 'ann'\npin = '" + pin + "'\n");
    writeFile(work / "password", "geheim");
    const Arguments ls{"ls", "--password-file", "password", "work:"};
    expect({{ls, 7, "key is " + other + ", and it was " + pin}});
    EXPECT_EQ(changed.transcript(), "");
    // Nor does a server with another key, or another name, see a certificate of ours that it asks
    // for.
    const std::tuple<Arguments, std::string, bool> shown[] = {
        {{"--pin", other}, "127.0.0.2", true},
        {{"--pin", pin}, "127.0.0.1", false},
        {{"--ca-file", "changed.pem"}, "127.0.0.1", true},
        {{"--ca-file", "changed.pem"}, "localhost", true},
        {{"--ca-file", "changed.pem"}, "127.0.0.2", false},
        {{"--ca-file", "changed.pem"}, "a.localhost", false}};
    for (const auto& [trust, host, isShown] : shown) {
        const std::string port = std::to_string(support::freePort());
        support::Command asked{{"openssl", "s_server", "-naccept", "1", "-verify", "1", "-cert",
                                "changed.pem", "-key", "changed.key", "-accept", port}};
        asked.directory = work.path();
        support::RunningProcess asking(asked, support::Streams::terminal);
        ASSERT_TRUE(asking.expect("ACCEPT"));
        const support::RunningProcess program(
            command(joined(joined({"ls", "https://" + host + ":" + port + "/"}, trust),
                           {"--cert", "changed.pem", "--key", "changed.key"})));
        EXPECT_EQ(asking.expect("depth=0"), isShown) << host << asking.output();
    }
}

TEST_F(Connections, logInByATicket) {
    for (const char* file : {"/usr/sbin/krb5kdc", "/usr/sbin/kadmin.local", "/usr/bin/kinit",
                             "/usr/lib/apache2/modules/mod_auth_gssapi.so"}) {
        if (!std::filesystem::exists(file)) GTEST_SKIP() << file << " is not here";
    }
    // A realm with ann, and a server at localhost.
    const std::string at = " = 127.0.0.1:" + std::to_string(support::freePort()) + "\n";
    writeFile(work / "krb5",
              "[libdefaults]\ndefault_realm = T\nrdns = false\ndns_canonicalize_hostname = false\n"
              "[domain_realm]\nlocalhost = T\n[realms]\nT = {\nkdc" +
                  at + "kdc_listen" + at + "kdc_tcp_listen" + at +
                  "database_name = " + (work / "db").string() +
                  "\nkey_stash_file = " + (work / "stash").string() + "\n}\n");
    for (const char* name : {"KRB5_CONFIG", "KRB5_KDC_PROFILE"}) environment[name] = work / "krb5";
    environment["KRB5CCNAME"] = "FILE:" + (work / "tickets").string();
    shell(
        "kdb5_util create -s -P x; kadmin.local addprinc -pw geheim ann; kadmin.local addprinc "
        "-randkey HTTP/localhost; kadmin.local ktadd -k keytab HTTP/localhost; chmod 644 keytab");
    const support::RunningProcess kdc({{"/usr/sbin/krb5kdc", "-n"}, environment});
    shell("until echo geheim | kinit ann; do sleep 0.1; done");
    const Apache open, secure({.tls = true});
    const Apache server(
        {.authentication = Authentication::negotiate, .keytab = work / "keytab", .isProxy = true});
    const std::string url = "http://localhost:" + std::to_string(server.port()) + "/";
    const std::string large(3 << 20, 'x');
    writeFile(work / "large", large);
    expect({{{"login", "work", url, "--auth", "negotiate"}, 0, "work: is " + url + "\n"}});
    server.clearTranscript();
    expect({{{"put", "large", "work:"}, 0, ""}});
    EXPECT_EQ(content(server, "large"), large);
    EXPECT_EQ(server.transcript().find("401"), std::string::npos);
    const Arguments beyond{"ls", "--insecure", "--proxy", url, open.url(), secure.url()};
    const std::string elsewhere = server.url();
    expect({{{"ls", url}, 4, "logins by Negotiate"},
            {{"ls", "--auth=negotiate", elsewhere}, 4, "ticket for HTTP@127.0.0.1 (Server"},
            {beyond, 7, "it takes logins by Negotiate"},
            {joined({"--proxy-auth", "negotiate"}, beyond), 0,
             open.url() + ":\n\n" + secure.url() + ":\n"}});
    shell("kdestroy");
    expect({{{"ls", "work:"}, 4, "no Kerberos ticket for HTTP@localhost ("}});
}

TEST_F(Connections, logInByNtlm) {
    constexpr auto challenge = "NTLM TlRMTVNTUAACAAAAAAAAAAAAAAABggAAASNFZ4mrze8=";
    support::ScriptedServer server;
    server.on("*", "*", [=, isIn = false](const support::Request& request) mutable {
        const std::string_view given = request.field("Authorization");
        const bool greets = given.starts_with("NTLM TlRMTVNTUAAB");
        isIn = isIn || given.starts_with("NTLM TlRMTVNTUAAD");  // the third message
        if (greets || !isIn) return Answer::challenge(greets ? challenge : "NTLM");
        const int absent = request.method == "PUT" ? 201 : 404;
        return Answer(request.target == "/c/" ? 200 : absent).with("Allow", "PUT, GET, HEAD");
    });
    writeFile(work / "file", "content");
    const Arguments put{"--password-file", "file", "put", "--force", "file", server.url("c/")};
    expect({{joined({"-uann"}, put), 4, "logins by NTLM"},
            {{"login", "work", server.url("c/")}, 4, "It is told by --auth negotiate or --auth n"},
            {joined({"--auth", "ntlm", "-uDOMAIN\\ann"}, put), 0, ""},
            {{"ls", "--auth", "x", server.url()}, 2, "--auth: it is one of negotiate, ntlm"}});
    EXPECT_EQ(server.requests().back().body, "content");
}

TEST_F(Connections, goThroughProxiesOfEachKind) {
    const Apache clear, secure({.tls = true});
    for (const Apache* server : {&clear, &secure}) server->addMember("file", "content");
    support::ApacheOptions options{.account = {"me", "geheim %"}, .isProxy = true};
    options.authentication = Authentication::basic;
    const Apache basic(options);
    options.authentication = Authentication::digest;
    const Apache digest(options);
    const Apache trusted({.tls = true, .isProxy = true});  // by the authority of the server
    const auto identity = makeCertificate(work.path(), "proxy");
    shell("cat proxy.pem proxy.key > own.pem");
    options = {.tls = true, .identity = identity, .isProxy = true};
    const Apache overTls(options);
    options.clientAuthority = identity.file;
    const Apache asking(options);
    const auto with = [](std::string url, const std::string& password) {
        return url.insert(url.find("://") + 3, "me:" + password + "@");
    };
    const std::string byBasic = with(basic.url(), "geheim%20%25");
    const std::tuple<std::string, Arguments, int, std::string> rows[] = {
        {byBasic, {}, 0, "content"},
        {with(digest.url(), "geheim%20%25"), {"--proxy-auth", "digest"}, 0, "content"},
        {with(digest.url(), "geheim"), {}, 7, "it takes logins by Digest"},
        {digest.url(), {"--no-proxy", "127.0.0.1,h"}, 0, "content"},
        {digest.url(), {"--proxy-auth", "none"}, 2, "it is one of basic, digest, ntlm"},
        {overTls.url(), {"--proxy-ca-file", "proxy.pem"}, 0, "content"},
        {overTls.url(), {}, 7, "no trusted TLS connection to the proxy"},
        {overTls.url(), {"--insecure"}, 0, "content"},
        {trusted.url(), {}, 0, "content"},
        {asking.url(),
         {"--proxy-ca-file", "proxy.pem", "--cert", "own.pem"},
         4,
         "certificate required"},
        {with(basic.url(), "falsch"), {}, 7, "it takes logins by Basic"}};
    const Arguments cat{"cat", "--ca-file", authority, "--proxy"};
    for (const auto& [at, more, code, told] : rows) {
        for (const std::string& url : {clear.url("file"), secure.url("file")})
            expect({{joined(joined(cat, {at, url}), more), code, told}});
        // What it takes goes at once, before it asks.
        EXPECT_TRUE(code != 0 || basic.transcript().find(" 407") == std::string::npos);
    }
    expect({{joined(cat, {byBasic, "https://127.0.0.1:1/f"}), 7, "the proxy answered 503"}});
    writeSite("url = '" + secure.url() + "'\nca-file = '" + authority + "'\nproxy = '" +
              overTls.url() + "'\nproxy-ca-file = '" + identity.file.string() + "'\n");
    expect({{{"cat", "work:file"}, 0, "content"}});
}

// A proxy by its answers, one to each message (RFC 1928, RFC 1929).
TEST_F(Connections, goThroughSocks) {
    using namespace std::string_literals;
    const std::string last = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok";
    const std::pair<std::string, Arguments> rows[] = {
        {"socks4a://ann", {"\0Z\0\0\0\0\0\0"s, last}},
        {"socks5h://ann:geheim", {"\5\2"s, "\1\0"s, "\5\0\0\1\0\0\0\0\0\0"s, last}}};
    for (const auto& [start, answers] : rows) {
        std::string heard(4096, '\0');
        const support::ConnectionServer proxy([&, &all = answers](support::Tcp::socket& client) {
            for (size_t at = 0; const std::string& answer : all) {
                at += client.read_some(boost::asio::buffer(heard) + at);
                boost::asio::write(client, boost::asio::buffer(answer));
            }
        });
        const std::string at = start + "@127.0.0.1:" + std::to_string(proxy.port());
        expect({{{"cat", "--proxy", at, "http://no.invalid/f"}, 0, "ok"}});
        EXPECT_LT(heard.find("ann"), heard.find("no.invalid"));
    }
}

}  // namespace
}  // namespace quillon::cli
