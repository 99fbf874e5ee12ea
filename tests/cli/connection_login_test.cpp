// Connections that log in by themselves: Negotiate by a ticket of a KDC of our own, and NTLM.
#include "tests/cli/program.hpp"
#include "tests/support/scripted_server.hpp"

namespace quillon::cli {
namespace {

using support::Answer;

// A realm with ann and a server at localhost. What it runs speaks to it by this environment.
class Realm {
public:
    Realm() {
        writeFile(home_ / "krb5.conf",
                  "[libdefaults]\ndefault_realm = TEST\ndns_canonicalize_hostname = false\n"
                  "rdns = false\n[realms]\nTEST = {\nkdc = 127.0.0.1:" +
                      port_ + "\n}\n[domain_realm]\nlocalhost = TEST\n");
        writeFile(home_ / "kdc.conf", "[realms]\nTEST = {\nkdc_listen = 127.0.0.1:" + port_ +
                                          "\nkdc_tcp_listen = 127.0.0.1:" + port_ +
                                          "\ndatabase_name = " + (home_ / "db").string() +
                                          "\nkey_stash_file = " + (home_ / "stash").string() +
                                          "\n}\n");
        run("kdb5_util create -s -P master");
        run("kadmin.local addprinc -pw geheim ann; kadmin.local addprinc -randkey HTTP/localhost;"
            "kadmin.local ktadd -k '" +
            keytab().string() + "' HTTP/localhost");
        chmod(keytab().c_str(), 0644);
        kdc_ = std::make_unique<support::RunningProcess>(
            support::Command{{"/usr/sbin/krb5kdc", "-n"}, environment()});
    }
    std::filesystem::path keytab() const { return home_ / "keytab"; }
    std::map<std::string, std::string> environment() const {
        return {{"KRB5_CONFIG", home_ / "krb5.conf"},
                {"KRB5_KDC_PROFILE", home_ / "kdc.conf"},
                {"KRB5CCNAME", "FILE:" + (home_ / "tickets").string()}};
    }
    void run(const std::string& script) const {
        support::runChecked({{"sh", "-c", script}, environment()});
    }
    void getTicket() const {
        const bool got = support::eventually([this] {
            return support::run({{"kinit", "ann"}, environment(), "geheim\n"}).exitCode == 0;
        });
        EXPECT_TRUE(got);
    }
    void dropTicket() const { run("kdestroy"); }

private:
    support::TemporaryDirectory home_;
    const std::string port_ = std::to_string(support::freePort());
    std::unique_ptr<support::RunningProcess> kdc_;
};

class ConnectionLogin : public ProgramTest {};

TEST_F(ConnectionLogin, byATicket) {
    for (const char* file : {"/usr/sbin/krb5kdc", "/usr/sbin/kadmin.local", "/usr/bin/kinit",
                             "/usr/lib/apache2/modules/mod_auth_gssapi.so"}) {
        if (!std::filesystem::exists(file)) GTEST_SKIP() << file << " is not here";
    }
    const Realm realm;
    const Apache server(
        {.authentication = Authentication::negotiate, .keytab = realm.keytab(), .isProxy = true});
    const Apache open, secure({.tls = true});
    const std::string url = "http://localhost:" + std::to_string(server.port()) + "/";
    const std::string large(3 << 20, 'x');
    writeFile(work / "large", large);
    const auto with = [&](Arguments words) {
        support::Command all = command(std::move(words));
        all.environment.merge(realm.environment());
        return support::run(all);
    };
    realm.getTicket();
    expect(with({"login", "work", url, "--auth", "negotiate"}), 0, "work: is " + url + "\n");
    expect(with({"ls", "work:"}), 0, "");
    server.clearTranscript();
    expect(with({"put", "large", "work:"}), 0, "");
    EXPECT_EQ(content(server, "large"), large);
    const std::string seen = server.transcript();
    EXPECT_EQ(seen.find("401"), seen.npos) << seen;
    expect(with({"get", "work:large", "-"}), 0, large);
    expect(with({"ls", "--auth", "negotiate", url}), 0, "large\n");
    expect(with({"ls", url}), 1, "logins by Negotiate");
    const Arguments beyond{"ls", "--insecure", "--proxy", url, open.url(), secure.url()};
    expect(with(beyond), 7, "it takes logins by Negotiate");
    expect(with({"--proxy-auth", "negotiate", "ls", "--insecure", "--proxy", url, open.url(),
                 secure.url()}),
           0, open.url() + ":\n\n" + secure.url() + ":\n");
    realm.dropTicket();
    expect(with({"ls", "work:"}), 4, "does not take your Kerberos ticket, or there is none");
    expect(with({"login", "w2", url, "--auth", "negotiate"}), 4, "kinit gets one");
}

// The three messages of each connection, over HTTP/1.1; nothing else says who it is.
TEST_F(ConnectionLogin, byNtlm) {
    constexpr auto challenge =
        "NTLM TlRMTVNTUAACAAAADAAMADAAAAABAoEAASNFZ4mrze8AAAAAAAAAAGIAYgA8AAAARABPAE0AQQBJAE4AAgAM"
        "AEQATwBNAEEASQBOAAEADABTAEUAUgBWAEUAUgAEABQAZABvAG0AYQBpAG4ALgBjAG8AbQADACIAcwBlAHIAdgBl"
        "AHIALgBkAG8AbQBhAGkAbgAuAGMAbwBtAAAAAAA=";
    support::ScriptedServer server;
    server.on("*", "*", [=, greeted = 0, isIn = false](const support::Request& request) mutable {
        const std::string_view given = request.field("Authorization");
        if (given.starts_with("NTLM TlRMTVNTUAAB")) {
            ++greeted;
            return Answer(401).with("WWW-Authenticate", challenge);
        }
        isIn = isIn || (greeted > 0 && given.starts_with("NTLM TlRMTVNTUAAD"));
        if (!isIn) return Answer(401).with("WWW-Authenticate", "NTLM");
        if (request.method == "PUT") return Answer(201);
        if (request.method == "OPTIONS")
            return Answer(200).with("Allow", "PUT, GET, HEAD, OPTIONS");
        return Answer(request.target == "/c/" ? 200 : 404);
    });
    writeFile(work / "password", "geheim");
    writeFile(work / "file", "content");
    const Arguments put{"--password-file", "password", "put", "--force", "file", server.url("c/")};
    const auto with = [&](Arguments more) {
        more.insert(more.end(), put.begin(), put.end());
        return more;
    };
    expect(
        {{with({"-uann"}), 1, "logins by NTLM"},
         {with({"--auth", "ntlm", "-uDOMAIN\\ann"}), 0, ""},
         {{"ls", "--auth", "kerberos", server.url()}, 2, "--auth: it is one of negotiate, ntlm"}});
    std::string bodies;
    for (const auto& request : server.requests()) {
        bodies += request.answered == 201 ? request.body : "";
        EXPECT_FALSE(request.field("Authorization").starts_with("Basic"));
    }
    EXPECT_EQ(bodies, "content");
}

}  // namespace
}  // namespace quillon::cli
