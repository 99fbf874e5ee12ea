#include "client/address.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "platform/base/ascii.hpp"
#include "platform/text/shown_bytes.hpp"
#include "platform/text/url.hpp"

namespace quillon {
namespace {

constexpr std::string_view REFUSED_IN_HOSTS = " \"%<>\\^`{|}?#@:[]";
constexpr std::string_view ADDRESS_CHARACTERS = "0123456789abcdefABCDEF:.";
constexpr std::string_view SCHEME_CHARACTERS = "abcdefghijklmnopqrstuvwxyz0123456789+-.";

Error refusalOf(std::string_view typed, std::string_view why) {
    return localError(Kind::usage, fmt::format("\"{}\" is not the URL of a WebDAV server: {}",
                                               withoutCredentials(typed), why));
}

// A name, an IPv4 address, or an IPv6 address in brackets.
bool hostValid(std::string_view host) {
    if (host.starts_with('[') && host.ends_with(']')) {
        const auto address = host.substr(1, host.size() - 2);
        return !address.empty() && address.find_first_not_of(ADDRESS_CHARACTERS) == address.npos;
    }
    return !host.empty() && std::none_of(host.begin(), host.end(), [](char c) {
        return (c >= 0 && c < ' ') || c == 0x7F ||
               REFUSED_IN_HOSTS.find(c) != std::string_view::npos;
    });
}

bool portValid(std::string_view port) {
    const bool digits =
        std::all_of(port.begin(), port.end(), [](char c) { return c >= '0' && c <= '9'; });
    return digits && (port.empty() || (port.size() <= 5 && std::stoi(std::string(port)) <= 65535));
}

// File managers write dav:// and davs://.
std::string plainScheme(const std::string& scheme) {
    if (scheme == "dav" || scheme == "webdav") return "http";
    return scheme == "davs" || scheme == "webdavs" ? "https" : scheme;
}

struct Parts {
    std::string scheme;  // in lower case, http or https
    vxhost::Authority authority;
    std::string_view path;
};

// Says what is wrong with a text that is no URL; empty: nothing, and it has these parts.
std::string_view splitUrl(std::string_view typed, Parts& parts) {
    const vxhost::SpeltUrl spelt = vxhost::splitSpelt(typed);
    const size_t colon = spelt.root.find("://");
    parts.scheme = plainScheme(vxhost::lowerCase(spelt.root.substr(0, colon)));
    if (colon == std::string_view::npos || (parts.scheme != "https" && parts.scheme != "http")) {
        return "it must begin with https:// or http://.";
    }
    parts.authority = vxhost::splitAuthority(spelt.root.substr(colon + 3));
    parts.path = spelt.path;
    const bool pathFollows = spelt.path.empty() || spelt.path.front() == '/';
    if (!pathFollows || !hostValid(parts.authority.host)) return "it names no host.";
    if (!portValid(parts.authority.port)) return "its port is no number up to 65535.";
    return {};
}

// How much of a word says that an option's value follows: "--proxy=", "-u".
size_t optionLength(std::string_view word) {
    if (!word.starts_with('-')) return 0;
    if (!word.starts_with("--")) return std::min<size_t>(word.size(), 2);
    return word.find('=') + 1;
}

// How much of a text was meant as a scheme, with the slashes behind it, however many.
size_t schemeLength(std::string_view text) {
    const size_t colon = text.find(':');
    if (colon == std::string_view::npos) return 0;
    const std::string scheme = vxhost::lowerCase(text.substr(0, colon));
    const bool known = scheme == "http" || scheme == "https";
    const bool any = text.substr(colon).starts_with("://") &&
                     scheme.find_first_not_of(SCHEME_CHARACTERS) == std::string::npos;
    if (!known && !any) return 0;
    return std::min(text.find_first_not_of("/\\", colon + 1), text.size());
}

// Behind the last "@", be it escaped; 0: there is none.
size_t endOfUserinfo(std::string_view text) {
    if (const size_t at = text.rfind('@'); at != std::string_view::npos) return at + 1;
    const size_t escaped = text.rfind("%40");
    return escaped == std::string_view::npos ? 0 : escaped + 3;
}

// In a text that is no URL. A slash in a password ends the host, a missing scheme hides the user,
// a missing "@" makes the password a port: rather too much is taken for credentials.
std::string_view suspectedCredentials(std::string_view text) {
    const size_t scheme = schemeLength(text);
    text.remove_prefix(scheme);
    if (const size_t end = endOfUserinfo(text); end > 1) {
        const bool password = scheme > 0 || std::min(text.find(':'), text.find("%3")) < end;
        return password ? text.substr(0, end) : std::string_view();
    }
    const std::string_view authority = text.substr(0, text.find('/'));
    const bool portSpoilt = scheme > 0 && !portValid(vxhost::splitAuthority(authority).port);
    return portSpoilt ? authority : std::string_view();
}

// "%2E" is a dot (RFC 3986, 6.2.2.2), and so a segment of them is a dot segment.
std::string withPlainDots(std::string path) {
    for (size_t at = 0; (at = path.find("%2", at)) != std::string::npos; ++at) {
        if (at + 2 < path.size() && (path[at + 2] == 'E' || path[at + 2] == 'e')) {
            path[at] = '.';
            path.erase(at + 1, 2);
        }
    }
    return path;
}

std::string sendablePath(std::string_view root, std::string_view typedPath) {
    const std::string spelt =
        std::string(root).append(typedPath.empty() ? "/" : vxhost::withoutShownBytes(typedPath));
    const std::string encoded = vxhost::encodeForRequest(spelt).substr(root.size());
    return vxhost::removeDotSegments(withPlainDots(encoded));
}

}  // namespace

std::string_view credentialsIn(std::string_view typed) {
    typed.remove_prefix(optionLength(typed));
    Parts parts;
    if (!splitUrl(typed, parts).empty()) return suspectedCredentials(typed);
    const std::string_view userinfo = parts.authority.userinfo.value_or("");
    return userinfo.empty() ? userinfo : std::string_view(userinfo.data(), userinfo.size() + 1);
}

std::string withoutCredentials(std::string_view typed) {
    const std::string_view found = credentialsIn(typed);
    if (found.empty()) return std::string(typed);
    const auto begin = static_cast<size_t>(found.data() - typed.data());
    return fmt::format("{}***{}{}", typed.substr(0, begin), found.ends_with('@') ? "@" : "",
                       typed.substr(begin + found.size()));
}

std::string_view userNameProblem(std::string_view user) {
    if (user.find(':') != user.npos) {
        return "must hold no colon; a password is given at the prompt, in a file or in the netrc "
               "file";
    }
    return isOneLine(user) ? "" : "must hold no NUL and no line break";
}

Result<std::string> segmentFor(std::string_view name) {
    if (name.empty() || name == "." || name == "..") {
        return localError(Kind::usage, fmt::format("\"{}\" cannot be a member's name.", name));
    }
    return vxhost::encodeSegment(name);
}

Result<Address> Address::parse(std::string_view typed) {
    Parts parts;
    if (const auto problem = splitUrl(typed, parts); !problem.empty()) {
        return refusalOf(typed, problem);
    }
    const vxhost::Authority& authority = parts.authority;
    Address address;
    if (authority.userinfo) {
        const size_t end = std::min(authority.userinfo->find(':'), authority.userinfo->size());
        address.user_ = vxhost::decodeSegment(authority.userinfo->substr(0, end));
        std::string_view encoded = authority.userinfo->substr(end);
        if (!encoded.empty()) encoded.remove_prefix(1);
        std::string password = vxhost::decodeSegment(encoded);
        address.password_ = Secret(password);
        wipe(password);
        if (!isOneLine(address.user_) || !isOneLine(address.password_.view())) {
            return refusalOf(typed, "its user name or password holds a NUL or a line break.");
        }
    }
    std::string root = fmt::format("{}://{}", parts.scheme, vxhost::lowerCase(authority.host));
    if (!authority.port.empty()) root.append(":").append(authority.port);
    const std::string path = sendablePath(root, parts.path);
    const size_t segment = path.rfind('/') + 1;
    address.collection_ = root + path.substr(0, segment);
    address.segment_ = path.substr(segment);
    return address;
}

std::string Address::origin() const {
    return vxhost::origin(collection_);
}

std::string Address::host() const {
    const std::string_view root = vxhost::splitSpelt(collection_).root;
    std::string_view host = vxhost::splitAuthority(root.substr(root.find("://") + 3)).host;
    if (host.size() > 1 && host.front() == '[') host = host.substr(1, host.size() - 2);
    return std::string(host);
}

std::string Address::name() const {
    if (namesMember()) return vxhost::decodeSegment(segment_);
    const Address itself = asMember();
    return itself.namesMember() ? itself.name() : "/";
}

Address Address::asCollection() const {
    Address address = *this;
    if (namesMember()) address.collection_ += address.segment_ + "/";
    address.segment_.clear();
    return address;
}

Address Address::asMember() const {
    const std::string_view path = vxhost::splitSpelt(collection_).path;
    if (namesMember() || path.size() < 2) return *this;
    const size_t slash = collection_.rfind('/', collection_.size() - 2);
    Address address = *this;
    address.segment_ = collection_.substr(slash + 1, collection_.size() - slash - 2);
    address.collection_.resize(slash + 1);
    return address;
}

Address Address::withUser(std::string_view user) const {
    Address address = *this;
    address.user_ = user;
    address.password_ = Secret();
    return address;
}

Result<Address> Address::member(std::string_view name) const {
    const Result<std::string> segment = segmentFor(name);
    if (!segment) return segment.error();
    return memberBySegment(*segment);
}

Address Address::memberBySegment(std::string_view segment) const {
    Address address = *this;
    address.segment_ = segment;
    return address;
}

}  // namespace quillon
