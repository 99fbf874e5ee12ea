// The header fields of an answer, and what those say that WebDAV lives on. The values come from a
// server: what cannot be understood counts as absent.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/weblnk.h"
#include "platform/http/entity_tag.hpp"

namespace vxhost {

class Headers {
public:
    void clear() { fields_.clear(); }
    void add(std::string_view line);  // "Name: value" with or without its line end
    std::string_view first(std::string_view name) const;  // empty when absent; case is ignored
    // The values of every field of the name, joined by commas (RFC 9110, 5.3).
    std::string joined(std::string_view name) const;
    bool has(std::string_view name) const;

private:
    std::vector<std::pair<std::string, std::string>> fields_;
};

struct DavClasses {  // RFC 4918, 18
    bool any = false;
    bool one = false;
    bool two = false;
};
DavClasses parseDavClasses(std::string_view dav);

// How the end of an answer's content is told (RFC 9112, 6.3).
struct Framing {
    bool valid = true;               // false: by a length that is none, or by several
    bool chunked = false;            // by a last chunk
    std::optional<uint64_t> length;  // in bytes; of what a GET would answer in the case of HEAD

    bool provesEnd() const { return chunked || length; }  // else the connection's end is all
};
Framing parseFraming(const Headers& headers);

bool isCoded(const Headers& headers);  // by Content-Encoding (RFC 9110, 8.4)

// Content-Range of a single part (RFC 9110, 14.4).
struct ContentRange {
    uint64_t first = 0;             // byte of the whole
    std::optional<uint64_t> whole;  // length in bytes, when it is told
};
std::optional<ContentRange> parseContentRange(std::string_view value);

struct Challenge {          // of WWW-Authenticate (RFC 9110, 11.6.1)
    std::string scheme;     // a token
    std::string algorithm;  // of Digest; empty: none is named, which means MD5
    bool hasNonce = false;  // of Digest
};
std::vector<Challenge> parseChallenges(const Headers& headers);

bool offersScheme(const Headers& headers, std::string_view scheme);

// Whether a challenge of Digest is one that can be answered.
bool offersUsableDigest(const Headers& headers);

// The first schemes of the challenges, as "Negotiate, Digest with FOO"; empty: none can be read.
std::string offeredSchemes(const Headers& headers);

// The same where none of all can be answered; nothing where one can.
std::optional<std::string> unknownSchemes(const Headers& headers);

uint32_t parseAllow(std::string_view allow);  // ALLOW_ bits of the listed methods

// What an OPTIONS answer allows: its Allow fields, else what its compliance classes imply. LOCK and
// UNLOCK only from class 2 upwards.
uint32_t parseAllowed(const Headers& headers);
uint32_t impliedMethods(const DavClasses& classes);

// Lock-Token: the URI between the angle brackets (RFC 4918, 10.5); empty when there is none.
std::string parseLockToken(std::string_view value);

// The same without brackets around it.
std::string parseTokenUri(std::string_view text);

// Timeout: seconds or LOCK_TIMEOUT_INFINITE, of the first choice that is understood (10.7).
std::optional<uint32_t> parseTimeout(std::string_view value);

// Retry-After in seconds from now, not below 0.
std::optional<std::chrono::seconds> parseRetryAfter(std::string_view value,
                                                    std::chrono::system_clock::time_point now);

}  // namespace vxhost
