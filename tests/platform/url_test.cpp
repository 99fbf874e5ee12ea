#include "platform/text/url.hpp"

#include <gtest/gtest.h>

#include <sstream>

#include "platform/text/href_resolver.hpp"

using namespace vxhost;

TEST(Url, encodesWhatARequestCannotCarry) {
    const std::pair<std::string_view, std::string_view> rows[] = {
        {"http://h/a b\t\x7f😀", "http://h/a%20b%09%7F%F0%9F%98%80"},
        {"http://h/\"<>\\^`{|}[]?#", "http://h/%22%3C%3E%5C%5E%60%7B%7C%7D%5B%5D%3F%23"},
        {"http://h/%20%c3%A4%2f%zz%2%%20%", "http://h/%20%c3%A4%2f%25zz%252%25%20%25"},
        {"http://u:p@[::1]:8080/a b", "http://u:p@[::1]:8080/a%20b"},
        {"http://h?a", "http://h/%3Fa"},
    };
    for (const auto& [given, expected] : rows) EXPECT_EQ(encodeForRequest(given), expected);
}

// RFC 3986, 5.4, and more: references, and what path, query and fragment they have at
// http://a/b/c/d;p?q.
TEST(Url, resolvesTheExamplesOfTheRfc) {
    std::istringstream examples(R"(
        g     /b/c/g        ./g        /b/c/g        g/            /b/c/g/        /g      /g
        ?y    /b/c/d;p?y    g?y        /b/c/g?y      #s            /b/c/d;p?q#s   ;x      /b/c/;x
        g#s   /b/c/g#s      g?y#s      /b/c/g?y#s    g;x?y#s       /b/c/g;x?y#s   .       /b/c/
        ./    /b/c/         ..         /b/           ../           /b/            ../g    /b/g
        ../.. /             ../../     /             ../../../../g /g             /../g   /g
        /./g  /g            .g         /b/c/.g       g..           /b/c/g..       ./../g  /b/g
        ./g/. /b/c/g/       g/./h      /b/c/g/h      g/../h        /b/c/h         1:g     /b/c/1:g
        g;x=1/../y /b/c/y   g?y/../x   /b/c/g?y/../x g#s/../x      /b/c/g#s/../x  g.      /b/c/g.)");
    for (std::string given, expected; examples >> given >> expected;)
        EXPECT_EQ(resolve("http://a/b/c/d;p?q", given), "http://a" + expected) << given;
    EXPECT_EQ(resolve("http://a/b/c/d;p?q", ""), "http://a/b/c/d;p?q");
    EXPECT_EQ(resolve("http://a/b/c/d;p?q", "g:h"), "g:h");
    EXPECT_EQ(resolve("http://a/b/c/d;p?q", "//g"), "http://g");
    EXPECT_EQ(resolve("http://a", "g"), "http://a/g");
}

TEST(Url, comparesOriginsAndResources) {
    using Compare = bool (*)(std::string_view, std::string_view);
    const struct {
        Compare compare;
        bool same;
        std::string_view a, b;
    } rows[] = {
        {sameOrigin, true, "http://hz:/a", "HTTP://u:p@s@HZ:80/b"},
        {sameOrigin, true, "https://[::1]:443/", "https://[::1]"},
        {sameOrigin, false, "http://h:443/", "http://h/"},
        {sameOrigin, false, "https://h:80/", "https://h/"},
        {sameOrigin, false, "http://h@evil/", "http://h/"},
        {sameOrigin, false, "http://evil?@h/", "http://h/"},
        {sameResource, true, "http://h/a%28b%29%c3%a4?", "http://h/x/../a(b)\xC3\xA4%3f/"},
        {sameResource, true, "http://h#a%2Fb%", "http://h/%23a%2fb%25"},
        {sameResource, false, "http://h/a//", "http://h/a/"},
        {sameResource, false, "http://h//a", "http://h/a"},
        {sameResource, false, "http://h/a%2Fb", "http://h/a/b"},
        {sameResource, false, "http://h/a%2Fb", "http://h/a%252Fb"},
        {sameResource, false, "http://h/a", "http://h/ab"},
    };
    for (const auto& [compare, same, a, b] : rows) {
        EXPECT_EQ(compare(a, b), same) << a << " " << b;
        EXPECT_EQ(compare(b, a), same) << b << " " << a;
    }
    EXPECT_EQ(splitAuthority("u@[::1]").host, "[::1]");
}

TEST(Url, isSpeltAlike) {
    for (const char* url : {"http://h/a%20b%c3%a9'%25%2F", "http://h/%61 b\xC3%A9%27%%2f"})
        EXPECT_EQ(alikeSpelt(url), "http://h/a%20b%C3%A9'%25%2F");
}

TEST(Url, segmentsHoldAnyName) {
    EXPECT_EQ(encodeSegment("100% a/b#c?d;e (1)ä"), "100%25%20a%2Fb%23c%3Fd%3Be%20%281%29%C3%A4");
    for (const std::string_view name : {"100%", "%20", "a/b", "😀 \"'", "", ".", "..", "a%2"})
        EXPECT_EQ(decodeSegment(encodeSegment(name)), name);
    EXPECT_EQ(decodeSegment("caf%E9"), "caf%E9");
}

TEST(HrefResolver, resolvesAndKnowsTheRequestedResource) {
    constexpr std::string_view dav = "http://h:8080/dav/a b/", names = "http://h/a b/100%.txt";
    const struct {
        std::string_view requested, href, expected;
    } rows[] = {
        {dav, "/dav/a b/", dav},
        {dav, "/dav/a%20b", dav},
        {dav, "/%64av/./x/../a%20b/", dav},
        {dav, "https://inside.example/dav/a%20b/", dav},
        {dav, "//h:8080/dav/a%20b/", dav},
        {dav, "", dav},
        {dav, "/dav/a b/c", "c"},
        {dav, "/dav/a b/c/", "c/"},
        {dav, "/dav/a b/c/d", "/dav/a b/c/d"},
        {dav, "http://h:8080/dav/a b/c", "c"},
        {dav, "http://h:80800/dav/a b/c", "http://h:80800/dav/a b/c"},
        {dav, "/dav/a%20b/c", "/dav/a%20b/c"},
        {dav, "/dav/a b//", dav},
        {dav, "/dav/a b/c/..", dav},
        {dav, "c/%2E%2e/", dav},
        {dav, "/dav/a b/.%2e", dav},
        {dav, "http://inside.example", dav},
        {dav, "http://inside.example?x", dav},
        {dav, "//inside.example/c", "http://inside.example/c"},
        {dav, "/dav/a b/...", "http://h:8080/dav/a b/..."},
        {dav, "c", "c"},
        {dav, "c?", "http://h:8080/dav/a%20b/c?"},
        {names, "/a%20b/100%25.txt/", names},
        {names, "/a%20b/1", "/a%20b/1"},
        {"http://h", "/", "http://h"},
        {"http://h//d/", "/d/", "http://h//d/"},
        {"http://h/q?#/", "/q%3F%23/", "http://h/q?#/"},
    };
    for (const auto& [requested, href, expected] : rows)
        EXPECT_EQ(HrefResolver(requested).resolve(href), expected) << requested << " " << href;
}
