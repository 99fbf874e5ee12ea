// Proxies: of every kind that curl knows, and how a person logs in to them.
#include <boost/asio/read.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/streambuf.hpp>
#include <boost/asio/write.hpp>

#include "tests/cli/program.hpp"
#include "tests/support/certificate.hpp"
#include "tests/support/connection_server.hpp"

namespace quillon::cli {
namespace {

class Proxies : public ProgramTest {
protected:
    static std::string with(std::string url, const std::string& credentials) {
        return url.insert(url.find("://") + 3, credentials + "@");
    }
    void expectThrough(const std::string& proxy, Arguments options, int code,
                       const std::string& told) const {
        for (const std::string& url : {clear.url("file"), secure.url("file")}) {
            Arguments words{"cat", "--proxy", proxy, url, "--ca-file", authority};
            words.insert(words.end(), options.begin(), options.end());
            expect({{words, code, told}});
        }
    }

    const Apache clear, secure{{.tls = true}};
    const std::string authority = support::certificate().file;

private:
    void SetUp() override {
        clear.addMember("file", "content");
        secure.addMember("file", "content");
    }
};

TEST_F(Proxies, takeTheLoginsThatTheyAskFor) {
    const support::Account account{"me", "proxy pass"};
    const Apache basic(
        {.authentication = Authentication::basic, .account = account, .isProxy = true});
    const Apache digest(
        {.authentication = Authentication::digest, .account = account, .isProxy = true});
    expectThrough(with(basic.url(), "me:proxy%20pass"), {}, 0, "content");
    expectThrough(with(basic.url(), "me:wrong"), {}, 7, "it takes logins by Basic");
    expectThrough(with(digest.url(), "me:proxy%20pass"), {"--proxy-auth", "digest"}, 0, "content");
    expectThrough(with(digest.url(), "me:proxy%20pass"), {}, 7, "it takes logins by Digest");
    expectThrough(with(digest.url(), "me:wrong"), {"--proxy-auth", "digest"}, 7, "Digest");
    expectThrough(digest.url(), {"--no-proxy", "127.0.0.1,h"}, 0, "content");
    expectThrough(digest.url(), {"--proxy-auth", "none"}, 2, "it is one of basic, digest, ntlm");
}

TEST_F(Proxies, haveAnAuthorityOfTheirOwn) {
    const Apache proxy(
        {.tls = true, .identity = support::makeCertificate(work.path(), "proxy"), .isProxy = true});
    expectThrough(proxy.url(), {"--proxy-ca-file", "proxy.pem"}, 0, "content");
    expectThrough(proxy.url(), {}, 7, "");
    std::filesystem::create_directories(home / "config/quillon/sites");
    writeFile(home / "config/quillon/sites/work.toml",
              "url = '" + secure.url() + "'\nca-file = '" + authority + "'\nproxy = '" +
                  proxy.url() + "'\nproxy-ca-file = '" + (work / "proxy.pem").string() + "'\n");
    expect({{{"cat", "work:file"}, 0, "content"}});
}

// A SOCKS proxy that resolves every name to a server of its own, which answers with the name.
void serveSocks(support::Tcp::socket& client, bool isFifth, std::string& login) {
    namespace asio = boost::asio;
    const auto take = [&client](size_t size) {
        std::string bytes(size, '\0');
        asio::read(client, asio::buffer(bytes));
        return bytes;
    };
    const auto takeText = [&] {  // up to its NUL
        std::string text;
        for (char c = take(1)[0]; c != '\0'; c = take(1)[0]) text += c;
        return text;
    };
    const auto takeCounted = [&] { return take(static_cast<unsigned char>(take(1)[0])); };
    const auto say = [&client](std::string bytes) { asio::write(client, asio::buffer(bytes)); };
    std::string host;
    if (isFifth) {  // RFC 1928, RFC 1929
        take(1);
        takeCounted();
        say({5, 2});
        take(1);
        login = takeCounted();
        login += ":" + takeCounted();
        say({1, 0});
        take(4);
        host = takeCounted();
        take(2);
        say({5, 0, 0, 1, 0, 0, 0, 0, 0, 0});
    } else {
        take(8);
        login = takeText();
        host = takeText();
        say({0, 90, 0, 0, 0, 0, 0, 0});
    }
    asio::streambuf request;
    asio::read_until(client, request, "\r\n\r\n");
    say("HTTP/1.1 200 OK\r\nConnection: close\r\nContent-Length: " + std::to_string(host.size()) +
        "\r\n\r\n" + host);
}

TEST_F(Proxies, speakSocks) {
    std::string login;
    bool isFifth = false;
    const support::ConnectionServer proxy(
        [&](support::Tcp::socket& client) { serveSocks(client, isFifth, login); });
    const std::string at = "127.0.0.1:" + std::to_string(proxy.port()), url = "http://no.invalid/f";
    expect({{{"cat", "--proxy", "socks4a://ann@" + at, url}, 0, "no.invalid"}});
    EXPECT_EQ(login, "ann");
    isFifth = true;
    expect({{{"cat", "--proxy", "socks5h://ann:geheim@" + at, url}, 0, "no.invalid"}});
    EXPECT_EQ(login, "ann:geheim");
}

}  // namespace
}  // namespace quillon::cli
