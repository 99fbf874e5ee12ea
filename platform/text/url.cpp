#include "platform/text/url.hpp"

#include <utf8.h>

#include <algorithm>

#include "platform/base/ascii.hpp"
#include "platform/text/url_path.hpp"

namespace vxhost {
namespace {

constexpr bool isAlpha(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
constexpr bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

constexpr bool isUnreserved(char c) {
    return isAlpha(c) || isDigit(c) || std::string_view("-._~").find(c) != std::string_view::npos;
}

constexpr bool isPathCharacter(char c) {
    return isUnreserved(c) || std::string_view("/:@!$&'()*+,;=").find(c) != std::string_view::npos;
}

void appendEscaped(std::string& to, char c) {
    constexpr char digits[] = "0123456789ABCDEF";
    const auto byte = static_cast<unsigned char>(c);
    to += '%';
    to += digits[byte >> 4];
    to += digits[byte & 15];
}

// A scheme ends at the first ":" and holds no other delimiter (RFC 3986, 3.1).
std::optional<std::string_view> takeScheme(std::string_view& rest) {
    const size_t colon = rest.find_first_of(":/?#");
    if (colon == rest.npos || rest[colon] != ':' || colon == 0 || !isAlpha(rest[0])) return {};
    for (const char c : rest.substr(0, colon)) {
        if (!isAlpha(c) && !isDigit(c) && c != '+' && c != '-' && c != '.') return {};
    }
    const auto scheme = rest.substr(0, colon);
    rest.remove_prefix(colon + 1);
    return scheme;
}

std::optional<std::string_view> takeAuthority(std::string_view& rest) {
    if (!rest.starts_with("//")) return {};
    rest.remove_prefix(2);
    const auto authority = rest.substr(0, rest.find_first_of("/?#"));
    rest.remove_prefix(authority.size());
    return authority;
}

// What follows the mark in text, which is cut off there.
std::optional<std::string_view> cutAfter(std::string_view& text, char mark) {
    const size_t at = text.find(mark);
    if (at == text.npos) return {};
    const auto tail = text.substr(at + 1);
    text = text.substr(0, at);
    return tail;
}

std::string compose(const Reference& parts, std::string_view path) {
    std::string url;
    if (parts.scheme) url.append(*parts.scheme).append(":");
    if (parts.authority) url.append("//").append(*parts.authority);
    url.append(path);
    if (parts.query) url.append("?").append(*parts.query);
    if (parts.fragment) url.append("#").append(*parts.fragment);
    return url;
}

// RFC 3986, 5.2.3.
std::string mergePaths(const Reference& base, std::string_view path) {
    const bool atRoot = base.authority && base.path.empty();
    std::string merged(atRoot ? "/" : base.path.substr(0, base.path.rfind('/') + 1));
    return merged.append(path);
}

}  // namespace

Reference splitReference(std::string_view text) {
    Reference parts;
    parts.scheme = takeScheme(text);
    parts.authority = takeAuthority(text);
    parts.fragment = cutAfter(text, '#');
    parts.query = cutAfter(text, '?');
    parts.path = text;
    return parts;
}

SpeltUrl splitSpelt(std::string_view url) {
    auto rest = url;
    if (!takeScheme(rest) || !takeAuthority(rest)) return {{}, url};
    return {url.substr(0, url.size() - rest.size()), rest};
}

Authority splitAuthority(std::string_view authority) {
    Authority parts;
    if (const size_t at = authority.rfind('@'); at != authority.npos) {
        parts.userinfo = authority.substr(0, at);
        authority.remove_prefix(at + 1);
    }
    const size_t colon = authority.rfind(':');
    const size_t bracket = authority.rfind(']');
    if (colon == authority.npos || (bracket != authority.npos && colon < bracket)) {
        parts.host = authority;
    } else {
        parts.host = authority.substr(0, colon);
        parts.port = authority.substr(colon + 1);
    }
    return parts;
}

std::string encodeForRequest(std::string_view spelt) {
    const auto [root, path] = splitSpelt(spelt);
    std::string url(root);
    url.reserve(spelt.size() + 1);
    if (!root.empty() && !path.empty() && path[0] != '/') url += '/';
    for (size_t at = 0; at < path.size(); ++at) {
        if (isPathCharacter(path[at]) || isEscape(path, at)) {
            url += path[at];
        } else {
            appendEscaped(url, path[at]);
        }
    }
    return url;
}

std::string alikeSpelt(std::string_view url) {
    const auto [root, path] = splitSpelt(url);
    std::string spelt(root);
    for (size_t at = 0; at < path.size(); ++at) {
        const bool escaped = isEscape(path, at);
        const char character = escaped ? escapedByte(path, at) : path[at];
        const bool stays = isPathCharacter(character) && !(escaped && character == '/');
        if (stays) {
            spelt += character;
        } else {
            appendEscaped(spelt, character);
        }
        if (escaped) at += 2;
    }
    return spelt;
}

std::string removeDotSegments(std::string_view path) {
    std::string kept;
    while (!path.empty()) {
        if (path.starts_with("../")) {
            path.remove_prefix(3);
        } else if (path.starts_with("./") || path.starts_with("/./")) {
            path.remove_prefix(2);
        } else if (path == "/.") {
            path = "/";
        } else if (path.starts_with("/../") || path == "/..") {
            path = path.size() == 3 ? std::string_view("/") : path.substr(3);
            const size_t parent = kept.rfind('/');
            kept.resize(parent == kept.npos ? 0 : parent);
        } else if (path == "." || path == "..") {
            path = {};
        } else {
            const auto segment = path.substr(0, path.find('/', 1));
            kept += segment;
            path.remove_prefix(segment.size());
        }
    }
    return kept;
}

bool isDotSegment(std::string_view segment) {
    int dots = 0;
    for (size_t at = 0; at < segment.size() && dots < 3; ++dots) {
        const bool escaped = isEscape(segment, at);
        if ((escaped ? escapedByte(segment, at) : segment[at]) != '.') return false;
        at += escaped ? 3 : 1;
    }
    return dots == 1 || dots == 2;
}

bool hasDotSegment(std::string_view path) {
    for (size_t begin = 0; begin <= path.size();) {
        const size_t end = std::min(path.find('/', begin), path.size());
        if (isDotSegment(path.substr(begin, end - begin))) return true;
        begin = end + 1;
    }
    return false;
}

std::string resolve(std::string_view base, std::string_view reference) {
    const auto from = splitReference(base);
    auto to = splitReference(reference);
    if (to.scheme) return compose(to, removeDotSegments(to.path));
    to.scheme = from.scheme;
    if (to.authority) return compose(to, removeDotSegments(to.path));
    to.authority = from.authority;
    if (to.path.empty()) {
        if (!to.query) to.query = from.query;
        return compose(to, from.path);
    }
    if (to.path[0] == '/') return compose(to, removeDotSegments(to.path));
    return compose(to, removeDotSegments(mergePaths(from, to.path)));
}

std::string origin(std::string_view url) {
    const auto parts = splitReference(url);
    if (!parts.scheme || !parts.authority) return {};
    const auto scheme = lowerCase(*parts.scheme);
    const auto [userinfo, host, port] = splitAuthority(*parts.authority);
    auto text = scheme + "://" + lowerCase(host);
    const bool isDefault =
        (scheme == "http" && port == "80") || (scheme == "https" && port == "443") || port.empty();
    if (!isDefault) text.append(":").append(port);
    return text;
}

std::string hostOf(std::string_view url) {
    const auto authority = splitReference(url).authority;
    std::string_view host = splitAuthority(authority.value_or("")).host;
    if (host.size() > 1 && host.front() == '[') host = host.substr(1, host.size() - 2);
    return std::string(host);
}

bool sameOrigin(std::string_view a, std::string_view b) {
    const auto ofA = origin(a);
    return !ofA.empty() && ofA == origin(b);
}

bool sameResource(std::string_view a, std::string_view b) {
    return origin(a) == origin(b) &&
           samePath(removeDotSegments(splitSpelt(a).path), removeDotSegments(splitSpelt(b).path));
}

std::string encodeSegment(std::string_view name) {
    std::string segment;
    for (const char c : name) {
        if (isUnreserved(c)) {
            segment += c;
        } else {
            appendEscaped(segment, c);
        }
    }
    return segment;
}

std::string segmentBytes(std::string_view segment) {
    if (segment.find('%') == segment.npos) return std::string(segment);
    std::string name;
    for (size_t at = 0; at < segment.size(); ++at) {
        if (isEscape(segment, at)) {
            name += escapedByte(segment, at);
            at += 2;
        } else {
            name += segment[at];
        }
    }
    return name;
}

std::string decodeSegment(std::string_view segment) {
    std::string name = segmentBytes(segment);
    return utf8::is_valid(name.begin(), name.end()) ? name : std::string(segment);
}

}  // namespace vxhost
