#include <gtest/gtest.h>

#include "tests/support/files.hpp"
#include "tests/support/http_probe.hpp"
#include "tests/support/lighttpd.hpp"
#include "tests/support/nginx.hpp"
#include "tests/support/rclone.hpp"

namespace support {
namespace {

void storesAndLists(const WebDavServer& server) {
    server.addCollection("sub");
    EXPECT_EQ(ask(server.port(), "PUT", "/sub/a%20b", "", "text")->status, 201);
    EXPECT_EQ(readFile(server.documentRoot() / "sub/a b"), "text");
    auto listing = ask(server.port(), "PROPFIND", "/sub/", "Depth: 1\r\n");
    EXPECT_NE(listing->body.find("/sub/a%20b<"), std::string::npos) << listing->body;
}

}  // namespace

TEST(Lighttpd, storesAndLists) {
    storesAndLists(Lighttpd());
}

TEST(Rclone, storesAndLists) {
    storesAndLists(Rclone());
}

TEST(Nginx, storesAndLists) {
    if (!Nginx::installed()) GTEST_SKIP() << "nginx with dav-ext is not installed";
    storesAndLists(Nginx());
}

}  // namespace support
