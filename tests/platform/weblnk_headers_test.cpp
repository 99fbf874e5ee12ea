// Header fields of answers, row by row.
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "platform/weblnk/headers.hpp"

using namespace vxhost;

namespace {

TEST(WeblnkHeaders, allowIsMaskedByTheComplianceClass) {
    constexpr uint32_t bothLocks = vx::ALLOW_LOCK | vx::ALLOW_UNLOCK;
    constexpr uint32_t some = vx::ALLOW_GET | vx::ALLOW_PUT;
    constexpr uint32_t plain = vx::ALLOW_GET | vx::ALLOW_HEAD | vx::ALLOW_OPTIONS;
    const uint32_t classOne = impliedMethods({true, true, false});
    const std::pair<std::vector<const char*>, uint32_t> rows[] = {
        {{"Allow: GET, PUT,LOCK ,UNLOCK", "DAV: 1, 2"}, some | bothLocks},
        {{"Allow: GET,PUT,LOCK,UNLOCK", "DAV: 1"}, some},
        {{"allow: GET", "ALLOW: PUT", "Allow: LOCK", "dav: 1", "Dav: <http://x/y>,2"},
         some | vx::ALLOW_LOCK},
        {{"Allow: GET,,  ,PUT,BREW,get,PUTT"}, some},
        {{"Allow:"}, 0},
        {{"DAV: 1"}, classOne},
        {{"DAV: 2"}, classOne | bothLocks},
        {{"DAV: access-control, 3"}, classOne},
        {{"DAV: 12"}, plain},
        {{"no field", ": GET", "Allow : GET"}, plain},
    };
    for (const auto& [lines, expected] : rows) {
        Headers headers;
        for (const char* line : lines) headers.add(line);
        EXPECT_EQ(parseAllowed(headers), expected) << testing::PrintToString(lines);
    }
    EXPECT_EQ(classOne & (bothLocks | vx::ALLOW_PUT), vx::ALLOW_PUT);
}

// What was read, or "-".
std::string timeout(std::string_view given) {
    const auto seconds = parseTimeout(given);
    return seconds ? std::to_string(*seconds) : "-";
}

std::string retryAfter(std::string_view given) {
    const auto wait = parseRetryAfter(
        given, std::chrono::system_clock::time_point(std::chrono::seconds(784111777)));
    return wait ? std::to_string(wait->count()) : "-";
}

TEST(WeblnkHeaders, areReadOrRefusedWhole) {
    const struct {
        std::string (*parse)(std::string_view);
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
        {timeout, "Second-600", "600"},
        {timeout, "second-0", "0"},
        {timeout, "Second-4294967295", "4294967295"},  // LOCK_TIMEOUT_INFINITE
        {timeout, "Infinite, Second-60", "4294967295"},
        {timeout, "Extend-1, Second-60", "60"},
        {timeout, "Second-4294967296", "-"},
        {timeout, "Second--1", "-"},
        {timeout, "Second-", "-"},
        {timeout, "600", "-"},
        {retryAfter, " 120 ", "120"},
        {retryAfter, "Sun, 06 Nov 1994 08:50:37 GMT", "60"},
        {retryAfter, "Sun, 06 Nov 1994 08:00:00 GMT", "0"},
        {retryAfter, "-1", "-"},
        {retryAfter, "soon", "-"},
        {retryAfter, "", "-"},
    };
    for (const auto& row : rows) EXPECT_EQ(row.parse(row.given), row.expected) << row.given;
}

}  // namespace
