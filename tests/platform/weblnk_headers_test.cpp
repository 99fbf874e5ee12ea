// Header fields of answers, row by row.
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "platform/weblnk/headers.hpp"

using namespace vxhost;

namespace {

constexpr uint32_t bothLocks = vx::ALLOW_LOCK | vx::ALLOW_UNLOCK;

TEST(WeblnkHeaders, allowIsMaskedByTheComplianceClass) {
    const uint32_t some = vx::ALLOW_GET | vx::ALLOW_PUT;
    const uint32_t classOne = impliedMethods({true, true, false});
    const struct {
        std::vector<const char*> lines;
        uint32_t expected;
    } rows[] = {
        {{"Allow: GET, PUT,LOCK ,UNLOCK", "DAV: 1, 2"}, some | bothLocks},
        {{"Allow: GET,PUT,LOCK,UNLOCK", "DAV: 1"}, some},
        {{"allow: GET", "ALLOW: PUT", "Allow: LOCK", "dav: 1", "Dav: <http://x/y>,2"},
         some | vx::ALLOW_LOCK},
        {{"Allow: GET,,  ,PUT,BREW,get,PUTT"}, some},
        {{"Allow:"}, 0},
        {{"DAV: 1"}, classOne},
        {{"DAV: 2"}, classOne | bothLocks},
        {{"DAV: access-control, 3"}, classOne},
        {{"DAV: 12"}, vx::ALLOW_GET | vx::ALLOW_HEAD | vx::ALLOW_OPTIONS},
        {{}, vx::ALLOW_GET | vx::ALLOW_HEAD | vx::ALLOW_OPTIONS},
        {{"no field", ": GET", "Allow : GET"}, vx::ALLOW_GET | vx::ALLOW_HEAD | vx::ALLOW_OPTIONS},
    };
    for (const auto& row : rows) {
        Headers headers;
        for (const char* line : row.lines) headers.add(line);
        EXPECT_EQ(parseAllowed(headers), row.expected) << testing::PrintToString(row.lines);
    }
    EXPECT_EQ(classOne & bothLocks, 0u);
    EXPECT_NE(classOne & vx::ALLOW_PUT, 0u);
}

TEST(WeblnkHeaders, texts) {
    using Parse = std::string (*)(std::string_view);
    const struct {
        Parse parse;
        const char *given, *expected;
    } rows[] = {
        {parseLockToken, "<opaquelocktoken:1-2>", "opaquelocktoken:1-2"},
        {parseLockToken, " < urn:uuid:1 > ", "urn:uuid:1"},
        {parseLockToken, "<a><b>", "a"},
        {parseLockToken, "urn:uuid:1", ""},
        {parseLockToken, "<urn:uuid:1", ""},
        {parseLockToken, "<>", ""},
        {parseLockToken, "<a b>", ""},
        {parseLockToken, "<a\r\nX: y>", ""},
        {parseTokenUri, "a>) (<b", ""},
        {parseTokenUri, "\n urn:x \n", "urn:x"},
        {parseStrongEtag, "\"a-1\"", "\"a-1\""},
        {parseStrongEtag, "\"\"", "\"\""},
        {parseStrongEtag, "W/\"a\"", ""},
        {parseStrongEtag, "a-1", ""},
        {parseStrongEtag, "\"", ""},
        {parseStrongEtag, "\"a\"b\"", ""},
        {parseStrongEtag, "\"a\r\nb\"", ""},
        {parseStrongEtag, "", ""},
    };
    for (const auto& row : rows) EXPECT_EQ(row.parse(row.given), row.expected) << row.given;
}

TEST(WeblnkHeaders, timeouts) {
    const struct {
        const char* given;
        std::optional<uint32_t> expected;
    } rows[] = {
        {"Second-600", 600},
        {"second-0", 0},
        {"Second-4294967295", vx::LOCK_TIMEOUT_INFINITE},
        {"Infinite, Second-60", vx::LOCK_TIMEOUT_INFINITE},
        {"Extend-1, Second-60", 60},
        {"Second-4294967296", {}},
        {"Second--1", {}},
        {"Second-", {}},
        {"600", {}},
        {"", {}},
    };
    for (const auto& row : rows) EXPECT_EQ(parseTimeout(row.given), row.expected) << row.given;
}

TEST(WeblnkHeaders, retryAfter) {
    const std::chrono::system_clock::time_point now{std::chrono::seconds(784111777)};
    const struct {
        const char* given;
        std::optional<int64_t> expected;
    } rows[] = {
        {"0", 0},
        {" 120 ", 120},
        {"Sun, 06 Nov 1994 08:50:37 GMT", 60},
        {"Sun, 06 Nov 1994 08:00:00 GMT", 0},
        {"-1", {}},
        {"soon", {}},
        {"", {}},
    };
    for (const auto& row : rows) {
        const auto wait = parseRetryAfter(row.given, now);
        EXPECT_EQ(wait ? std::optional(int64_t{wait->count()}) : std::nullopt, row.expected)
            << row.given;
    }
}

}  // namespace
