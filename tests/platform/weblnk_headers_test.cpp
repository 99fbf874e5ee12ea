// Header fields of answers, row by row.
#include "platform/http/headers.hpp"

#include <gtest/gtest.h>

using namespace vxhost;

namespace {

TEST(WeblnkHeaders, allowIsMaskedByTheComplianceClass) {
    constexpr uint32_t bothLocks = vx::ALLOW_LOCK | vx::ALLOW_UNLOCK;
    constexpr uint32_t some = vx::ALLOW_GET | vx::ALLOW_PUT;
    constexpr uint32_t plain = vx::ALLOW_GET | vx::ALLOW_HEAD | vx::ALLOW_OPTIONS;
    constexpr uint32_t classOne = plain | vx::ALLOW_COPY | vx::ALLOW_DELETE | vx::ALLOW_MKCOL |
                                  vx::ALLOW_MOVE | vx::ALLOW_PROPFIND | vx::ALLOW_PROPPATCH |
                                  vx::ALLOW_PUT;
    const std::pair<std::vector<const char*>, uint32_t> rows[] = {
        {{"Allow: GET,, BREW,get,PUTT, PUT,LOCK ,UNLOCK", "DAV: 1, 2"}, some | bothLocks},
        {{"Allow: GET,PUT,LOCK,UNLOCK", "DAV: 1"}, some},
        {{"allow: GET", "ALLOW: PUT", "Allow: LOCK", "Dav: <http://x/y>,2"}, some | vx::ALLOW_LOCK},
        {{"DAV: 2"}, classOne | bothLocks},
        {{"DAV: access-control, 3"}, classOne},
        {{"DAV: 12", "no field", ": GET", "Allow : GET"}, plain},
    };
    for (const auto& [lines, expected] : rows) {
        Headers headers;
        for (const char* line : lines) headers.add(line);
        EXPECT_EQ(parseAllowed(headers), expected) << testing::PrintToString(lines);
    }
}

// What was read, or "-".
std::string timeout(std::string_view given) {
    const auto seconds = parseTimeout(given);
    return seconds ? std::to_string(*seconds) : "-";
}

std::string entityTag(std::string_view given) {
    const EntityTag tag = parseEntityTag(given);
    return tag.text.empty() ? "-" : tag.sent();
}

std::string retryAfter(std::string_view given) {
    const auto now = std::chrono::system_clock::from_time_t(784111777);
    return std::to_string(parseRetryAfter(given, now).value().count());
}

std::string framing(std::string_view fields) {
    Headers headers;
    for (size_t at = 0; at < fields.size(); at = fields.find('|', at) + 1) {
        headers.add(fields.substr(at, fields.find('|', at) - at));
        if (fields.find('|', at) == fields.npos) break;
    }
    const Framing found = parseFraming(headers);
    if (!found.valid) return "!";
    return found.chunked ? "chunked" : found.length ? std::to_string(*found.length) : "-";
}

std::string schemes(std::string_view challenges) {
    Headers headers;
    headers.add(std::string("WWW-Authenticate: ").append(challenges));
    return unknownSchemes(headers).value_or("-");
}

TEST(WeblnkHeaders, areReadOrRefusedWhole) {
    const struct {
        std::string (*parse)(std::string_view);
        const char *given, *expected;
    } rows[] = {
        {parseLockToken, " < urn:uuid:1 ><b>", "urn:uuid:1"},
        {parseLockToken, "<urn:uuid:1", ""},
        {parseTokenUri, "\n urn:x \n", "urn:x"},
        {parseTokenUri, "a b", ""},
        {parseTokenUri, "a>", ""},
        {parseTokenUri, "<b", ""},
        {parseTokenUri, "urn:\xC3\xBC", ""},
        {entityTag, "\"a-1\"", "\"a-1\""},
        {entityTag, " W/\"a\" ", "W/\"a\""},
        {entityTag, "a", "\"a\""},
        {entityTag, "\"a-gzip\"", "-"},
        {entityTag, "\"a\"b\"", "-"},
        {entityTag, "\"a b\"", "-"},
        {entityTag, "W/", "-"},
        {timeout, "Second-4294967295", "4294967295"},  // LOCK_TIMEOUT_INFINITE
        {timeout, "Infinite, Second-60", "4294967295"},
        {timeout, "Extend-1, Second-60", "60"},
        {timeout, "Second-4294967296", "-"},
        {schemes, "Negotiate, bearer realm=\"a, Basic\"", "Negotiate, bearer"},
        {schemes, "Negotiate YWJj=, Basic realm=\"r\"", "-"},
        {schemes, "Digest realm=\"\\\", Basic\", algorithm=FOO", "Digest with FOO"},
        {schemes, "Digest algorithm = \"x\\y\"", "Digest without a nonce"},
        {schemes, "NTLM, digest nonce=n, Algorithm=\"md5-Sess\"", "-"},
        {schemes, "Digest nonce=n", "-"},
        {schemes, "a, a, b, c/d, e\x1B[0m, f, g, h", "a, b, f, g"},
        {schemes, "realm=\"r\", \"Negotiate\"", ""},
        {framing, "Content-Length: 5|Content-Length: 5, 5", "5"},
        {framing, "Content-Length: 5|Content-Length: 6", "!"},
        {framing, "Content-Length: 0x64", "!"},
        {framing, "Content-Length: +5", "!"},
        {framing, "Content-Length:", "!"},
        {framing, "Content-Length: 5|Transfer-Encoding: gzip|Transfer-Encoding: Chunked",
         "chunked"},
        {framing, "Content-Length: 5|Transfer-Encoding: identity", "-"},
        {retryAfter, " 120 ", "120"},
        {retryAfter, "Sun, 06 Nov 1994 08:50:37 GMT", "60"},
        {retryAfter, "Sun, 06 Nov 1994 08:00:00 GMT", "0"},
    };
    for (const auto& row : rows) EXPECT_EQ(row.parse(row.given), row.expected) << row.given;
}

}  // namespace
