#include "client/address.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "client/name.hpp"
#include "platform/base/ascii.hpp"
#include "platform/text/url.hpp"

namespace quillon {
namespace {

constexpr std::string_view REFUSED_IN_HOSTS = " \"%<>\\^`{|}?#@:[]";
constexpr std::string_view ADDRESS_CHARACTERS = "0123456789abcdefABCDEF:.";

// For a message: what may be credentials is left out.
std::string shown(std::string_view typed) {
    const size_t scheme = typed.find("://");
    const size_t start = scheme == std::string_view::npos ? 0 : scheme + 3;
    const size_t path = typed.find('/', start);
    const size_t at = typed.substr(0, path).rfind('@');
    if (at == std::string_view::npos || at < start) return std::string(typed);
    return std::string(typed.substr(0, start)).append(typed.substr(at + 1));
}

Error refusal(std::string_view typed, std::string_view why) {
    return localError(Kind::usage, fmt::format("\"{}\" is not the URL of a WebDAV server: {}",
                                               shown(typed), why));
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
    const std::string spelt = std::string(root).append(typedPath.empty() ? "/" : typedPath);
    const std::string encoded = vxhost::encodeForRequest(spelt).substr(root.size());
    return vxhost::removeDotSegments(withPlainDots(encoded));
}

}  // namespace

Result<Address> Address::parse(std::string_view typed) {
    const vxhost::SpeltUrl spelt = vxhost::splitSpelt(typed);
    const size_t colon = spelt.root.find("://");
    const std::string scheme = vxhost::lowerCase(spelt.root.substr(0, colon));
    if (colon == std::string_view::npos || (scheme != "https" && scheme != "http")) {
        return refusal(typed, "it must begin with https:// or http://.");
    }
    const vxhost::Authority authority = vxhost::splitAuthority(spelt.root.substr(colon + 3));
    const bool pathFollows = spelt.path.empty() || spelt.path.front() == '/';
    if (!pathFollows || !hostValid(authority.host)) return refusal(typed, "it names no host.");
    if (!portValid(authority.port)) return refusal(typed, "its port is no number up to 65535.");

    Address address;
    if (authority.userinfo) {
        const size_t end = std::min(authority.userinfo->find(':'), authority.userinfo->size());
        address.user_ = vxhost::decodeSegment(authority.userinfo->substr(0, end));
        std::string_view encoded = authority.userinfo->substr(end);
        if (!encoded.empty()) encoded.remove_prefix(1);
        std::string password = vxhost::decodeSegment(encoded);
        address.password_ = Secret(password);
        wipe(password);
    }
    std::string root = fmt::format("{}://{}", scheme, vxhost::lowerCase(authority.host));
    if (!authority.port.empty()) root.append(":").append(authority.port);
    const std::string path = sendablePath(root, spelt.path);
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
