#include "platform/weblnk/url.hpp"

#include <gtest/gtest.h>

#include <sstream>

#include "platform/weblnk/href_resolver.hpp"

using namespace vxhost;

TEST(Url, encodesWhatARequestCannotCarry) {
    const std::pair<std::string_view, std::string_view> rows[] = {
        {"http://h/a b\t\x7f", "http://h/a%20b%09%7F"},
        {"http://h/Ä😀", "http://h/%C3%84%F0%9F%98%80"},
        {"http://h/\"<>\\^`{|}[]", "http://h/%22%3C%3E%5C%5E%60%7B%7C%7D%5B%5D"},
        {"http://h/a?b#c", "http://h/a%3Fb%23c"},
        {"http://h/%20%c3%A4%2f", "http://h/%20%c3%A4%2f"},
        {"http://h/100%", "http://h/100%25"},
        {"http://h/%zz%2%%20", "http://h/%25zz%252%25%20"},
        {"http://h/-._~!$&'()*+,;=:@", "http://h/-._~!$&'()*+,;=:@"},
        {"http://u:p@[::1]:8080/a b", "http://u:p@[::1]:8080/a%20b"},
        {"http://h", "http://h"},
        {"http://h?a", "http://h/%3Fa"},
        {"/a b", "/a%20b"},
    };
    for (const auto& [given, expected] : rows) {
        EXPECT_EQ(encodeForRequest(given), expected);
        EXPECT_EQ(encodeForRequest(expected), expected) << "encoded once is encoded for good";
    }
}

// RFC 3986, 5.4: references, and what they are at http://a/b/c/d;p?q.
TEST(Url, resolvesTheExamplesOfTheRfc) {
    std::istringstream examples(R"(
        g:h           g:h                 g         http://a/b/c/g
        ./g           http://a/b/c/g      g/        http://a/b/c/g/
        /g            http://a/g          //g       http://g
        ?y            http://a/b/c/d;p?y  g?y       http://a/b/c/g?y
        #s            http://a/b/c/d;p?q#s          g#s     http://a/b/c/g#s
        g?y#s         http://a/b/c/g?y#s  ;x        http://a/b/c/;x
        g;x           http://a/b/c/g;x    g;x?y#s   http://a/b/c/g;x?y#s
        .             http://a/b/c/       ./        http://a/b/c/
        ..            http://a/b/         ../       http://a/b/
        ../g          http://a/b/g        ../..     http://a/
        ../../        http://a/           ../../g   http://a/g
        ../../../g    http://a/g          ../../../../g     http://a/g
        /./g          http://a/g          /../g     http://a/g
        g.            http://a/b/c/g.     .g        http://a/b/c/.g
        g..           http://a/b/c/g..    ..g       http://a/b/c/..g
        ./../g        http://a/b/g        ./g/.     http://a/b/c/g/
        g/./h         http://a/b/c/g/h    g/../h    http://a/b/c/h
        g;x=1/./y     http://a/b/c/g;x=1/y          g;x=1/../y    http://a/b/c/y
        g?y/./x       http://a/b/c/g?y/./x          g?y/../x      http://a/b/c/g?y/../x
        g#s/./x       http://a/b/c/g#s/./x          g#s/../x      http://a/b/c/g#s/../x
        http:g        http:g)");
    for (std::string given, expected; examples >> given >> expected;) {
        EXPECT_EQ(resolve("http://a/b/c/d;p?q", given), expected) << given;
    }
    EXPECT_EQ(resolve("http://a/b/c/d;p?q", ""), "http://a/b/c/d;p?q");
    EXPECT_EQ(resolve("http://a", "g"), "http://a/g");
}

TEST(Url, splitsAuthorities) {
    const auto parts = splitAuthority("me:p@ss@[fe80::1]:81");
    EXPECT_EQ(parts.userinfo, "me:p@ss");
    EXPECT_EQ(parts.host, "[fe80::1]");
    EXPECT_EQ(parts.port, "81");
    EXPECT_EQ(splitAuthority("[::1]").host, "[::1]");
    EXPECT_EQ(splitAuthority("h").userinfo, std::nullopt);
}

TEST(Url, comparesOriginsAndResources) {
    using Compare = bool (*)(std::string_view, std::string_view);
    const struct {
        Compare compare;
        bool same;
        std::string_view a, b;
    } rows[] = {
        {sameOrigin, true, "http://h/a", "HTTP://H:80/b"},
        {sameOrigin, true, "https://h:443", "https://u:p@h/"},
        {sameOrigin, true, "http://h:/", "http://h"},
        {sameOrigin, false, "http://h", "https://h"},
        {sameOrigin, false, "http://h:443/", "http://h/"},
        {sameOrigin, false, "http://h/", "http://h.evil/"},
        {sameOrigin, false, "http://h@evil/", "http://h/"},
        {sameOrigin, false, "http://evil?@h/", "http://h/"},
        {sameOrigin, false, "/a", "/a"},
        {sameResource, true, "http://h", "http://H:80/"},
        {sameResource, true, "http://h/a/b", "http://h/a/b/"},
        {sameResource, true, "http://h/a%28b%29%c3%a4", "http://h/a(b)\xC3\xA4"},
        {sameResource, true, "http://h/a?b", "http://h/a%3fb"},
        {sameResource, true, "http://h/x/../a/./b", "http://h/a/b"},
        {sameResource, true, "http://h?x/../a", "http://h/a"},
        {sameResource, true, "http://h#a", "http://h/%23a"},
        {sameResource, true, "http://h/a%2Fb", "http://h/a%2fb"},
        {sameResource, true, "http://h/100%", "http://h/100%25"},
        {sameResource, false, "http://h/a//", "http://h/a/"},
        {sameResource, false, "http://h//a", "http://h/a"},
        {sameResource, false, "http://h/a%2Fb", "http://h/a/b"},
        {sameResource, false, "http://h/a%2Fb", "http://h/a%252Fb"},
        {sameResource, false, "http://h/A", "http://h/a"},
        {sameResource, false, "http://h/a", "http://h/ab"},
        {sameResource, false, "http://h/a", "https://h/a"},
    };
    for (const auto& [compare, same, a, b] : rows) {
        EXPECT_EQ(compare(a, b), same) << a << " " << b;
        EXPECT_EQ(compare(b, a), same) << b << " " << a;
    }
}

TEST(Url, segmentsHoldAnyName) {
    EXPECT_EQ(encodeSegment("100% a/b#c?d;e (1)ä"), "100%25%20a%2Fb%23c%3Fd%3Be%20%281%29%C3%A4");
    for (const std::string_view name : {"100%", "%20", "a/b", "😀 \"'", "", ".", "..", "+"}) {
        EXPECT_EQ(decodeSegment(encodeSegment(name)), name);
    }
    EXPECT_EQ(decodeSegment("a%2"), "a%2");
    EXPECT_EQ(decodeSegment("caf%E9"), "caf%E9");
}

TEST(HrefResolver, resolvesAndKnowsTheRequestedResource) {
    constexpr std::string_view dav = "http://h:8080/dav/a b/", names = "http://h/a b/100%.txt";
    const struct {
        std::string_view requested, href, expected;
    } rows[] = {
        {dav, "/dav/a%20b/", dav},
        {dav, "/dav/a b/", dav},
        {dav, "/dav/a%20b", dav},
        {dav, "/%64av/./x/../a%20b/", dav},
        {dav, "HTTP://H:8080/dav/a%20b/", dav},
        {dav, "https://inside.example/dav/a%20b/", dav},
        {dav, "", dav},
        {dav, "/dav/a%20b/c", "http://h:8080/dav/a%20b/c"},
        {dav, "/dav/a b/c", "http://h:8080/dav/a b/c"},
        {dav, "/dav/a b//", "http://h:8080/dav/a b//"},
        {dav, "/dav/a%20b/.c", "http://h:8080/dav/a%20b/.c"},
        {dav, "/dav/a%20b%2F", "http://h:8080/dav/a%20b%2F"},
        {dav, "/dav/", "http://h:8080/dav/"},
        {dav, "c", "http://h:8080/dav/a%20b/c"},
        {dav, "http://h:8080/dav/a%20b/c", "http://h:8080/dav/a%20b/c"},
        {names, "/a%20b/100%25.txt/", names},
        {names, "/a%20b/1", "http://h/a%20b/1"},
        {"http://h", "/", "http://h"},
        {"http://h/q?#/", "/q%3F%23/", "http://h/q?#/"},
        {"http://h/q?#/", "n", "http://h/q%3F%23/n"},
    };
    for (const auto& [requested, href, expected] : rows) {
        EXPECT_EQ(HrefResolver(requested).resolve(href), expected) << requested << " " << href;
    }
}
