#include "tests/support/apache.hpp"

#include <gtest/gtest.h>

#include "tests/support/certificates.hpp"
#include "tests/support/files.hpp"
#include "tests/support/http_probe.hpp"

namespace support {
namespace {

std::string allowed(const Apache& server) {
    auto reply = ask(server.port(), "OPTIONS", "/");
    return reply ? reply->header : "no answer";
}

}  // namespace

TEST(Apache, storesAndListsAsTheServersOwnUser) {
    Apache server;
    server.addCollection("sub");
    EXPECT_EQ(ask(server.port(), "PUT", "/sub/a%20b", "", "text")->status, 201);
    EXPECT_EQ(readFile(server.documentRoot() / "sub/a b"), "text");
    EXPECT_EQ(ask(server.port(), "LOCK", "/sub/a%20b", "Timeout: Second-60\r\n",
                  "<lockinfo xmlns='DAV:'><lockscope><exclusive/></lockscope>"
                  "<locktype><write/></locktype></lockinfo>")
                  ->status,
              200);
    auto listing = ask(server.port(), "PROPFIND", "/sub/", "Depth: 1\r\n");
    EXPECT_NE(listing->body.find("<D:href>/sub/a%20b</D:href>"), std::string::npos);
    EXPECT_EQ(server.transcript(), "PUT /sub/a%20b 201\nLOCK /sub/a%20b 200\nPROPFIND /sub/ 207\n");
    EXPECT_EQ(server.connections(), 3);
}

TEST(Apache, asksForThePassword) {
    for (auto kind : {Authentication::basic, Authentication::digest}) {
        Apache server({.authentication = kind});
        auto get = [&](const std::string& password) {
            return runChecked({{"curl", "-so", "/dev/null", "-w", "%{http_code}", "--anyauth", "-u",
                                server.account().user + ":" + password, server.url()}});
        };
        EXPECT_EQ(get("wrong"), "401");
        EXPECT_EQ(get(server.account().password), "200");
    }
}

TEST(Apache, speaksTlsWithACertificateOfItsAuthority) {
    Apache server({.tls = true});
    auto get = [&](std::vector<std::string> more) {
        more.insert(more.begin(), {"curl", "-so", "/dev/null", server.url()});
        return run({more}).exitCode;
    };
    EXPECT_EQ(get({}), 60);
    EXPECT_EQ(get({"--cacert", certificates().authority}), 0);
}

TEST(Apache, withoutLocksIsOfClassOne) {
    EXPECT_NE(allowed(Apache()).find(",LOCK,UNLOCK"), std::string::npos);
    Apache server({.withoutLocks = true});
    EXPECT_EQ(allowed(server).find("LOCK"), std::string::npos);
    EXPECT_NE(allowed(server).find("DAV: 1\r\n"), std::string::npos);
    EXPECT_EQ(ask(server.port(), "LOCK", "/x")->status, 405);
}

}  // namespace support
