// URLs and references as text (RFC 3986), UTF-8 in and out; nothing here throws but for memory.
//
// Two readings are kept apart. A reference is read by the RFC: "?" begins a query, "#" a fragment.
// A URL as spelt by the caller is a collection's URL with a member's name behind it, so all text
// after the authority is path there, and "?" and "#" are characters of a name.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vxhost {

// Views into the text; an absent part is not the same as an empty one.
struct Reference {
    std::optional<std::string_view> scheme;
    std::optional<std::string_view> authority;
    std::string_view path;
    std::optional<std::string_view> query;
    std::optional<std::string_view> fragment;
};
Reference splitReference(std::string_view text);  // RFC 3986, appendix B

struct SpeltUrl {
    std::string_view root;  // scheme, "://" and authority; empty when there is none
    std::string_view path;  // the rest
};
SpeltUrl splitSpelt(std::string_view url);

struct Authority {
    std::optional<std::string_view> userinfo;
    std::string_view host;  // an IPv6 address keeps its brackets
    std::string_view port;  // may be empty
};
Authority splitAuthority(std::string_view authority);

// The spelt URL as a request may carry it: every character of the path that is none of RFC 3986's
// pchar becomes an escape, and so does a "%" that begins no escape; valid escapes stay.
std::string encodeForRequest(std::string_view spelt);

// The URL with no more escapes than its path needs, each in capitals, so that the same names are
// spelt alike, whoever spelt them.
std::string alikeSpelt(std::string_view url);

// RFC 3986, 5.2; base is absolute.
std::string resolve(std::string_view base, std::string_view reference);

std::string removeDotSegments(std::string_view path);  // RFC 3986, 5.2.4

bool isDotSegment(std::string_view segment);  // "." or "..", in whatever spelling
bool hasDotSegment(std::string_view path);

// Scheme, host and port in lower case, without a default port and without credentials; empty for
// a text without scheme or authority.
std::string origin(std::string_view url);
std::string hostOf(std::string_view url);  // as it is spelt, without port and brackets
bool sameOrigin(std::string_view a, std::string_view b);  // false when either has none

// The same resource in whatever spelling: origins as above; escapes count as what they stand for,
// an escaped "/" excepted; one final "/" and dot segments do not count.
bool sameResource(std::string_view a, std::string_view b);

// A name as one path segment: all but unreserved characters escaped. "." and ".." cannot be
// escaped (RFC 3986, 6.2.2.3) and come back as they are.
std::string encodeSegment(std::string_view name);

// The name that a segment stands for; the segment itself when that is no UTF-8.
std::string decodeSegment(std::string_view segment);

// The bytes that it stands for, be they UTF-8 or not: what tells such a name from one that holds
// the escapes themselves.
std::string segmentBytes(std::string_view segment);

}  // namespace vxhost
