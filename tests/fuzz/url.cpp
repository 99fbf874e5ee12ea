// URLs as a person or a server spells them, in the first line; a reference or a name in the rest.
#include <string>

#include "client/address.hpp"
#include "platform/base/transcoder.hpp"
#include "platform/text/href_resolver.hpp"
#include "platform/text/url.hpp"
#include "tests/fuzz/fuzz.hpp"

namespace {

using namespace vxhost;
using fuzz::require;
using quillon::Address;

bool isText(std::string_view bytes) {
    return shownUtf8(shownUtf32(bytes)) == bytes;
}

// Spelt with an absolute path, or none: what is true of every URL that a collection can have.
bool isProper(std::string_view url) {
    const auto [root, path] = splitSpelt(url);
    return !root.empty() && (path.empty() || path[0] == '/');
}

void checkEncoding(std::string_view spelt) {
    const std::string encoded = encodeForRequest(spelt);
    require(encodeForRequest(encoded) == encoded, "encoded once is encoded for good");
    const auto path = splitSpelt(encoded).path;
    require(std::all_of(path.begin(), path.end(), [](char c) { return c > ' ' && c < '\x7F'; }),
            "a request can carry an encoded path");
    if (isProper(spelt)) require(sameResource(spelt, encoded), "encoding keeps the resource");
}

void checkSegment(std::string_view name) {
    const std::string segment = encodeSegment(name);
    require(segment.find_first_of("/?#") == segment.npos, "a name is one segment");
    require(encodeForRequest(segment) == segment, "which a request can carry");
    require(decodeSegment(segment) == (isText(name) ? name : segment), "and stands for the name");
}

void checkResolution(std::string_view base, std::string_view reference) {
    const std::string url = resolve(base, reference);
    const auto basePath = splitReference(base).path;
    const std::string path = removeDotSegments(basePath);
    require(removeDotSegments(path) == path, "dot segments are removed at once");
    if (!isProper(base)) return;
    if (path == basePath) require(resolve(base, url) == url, "a resolved reference stays");
    const auto parts = splitReference(reference);
    if (parts.scheme || parts.authority) return;
    require(origin(url) == origin(base), "a reference without an origin stays at the base's");
}

void checkHrefs(std::string_view spelt, std::string_view href) {
    HrefResolver resolver(spelt);
    resolver.resolve(href);
    if (!isProper(spelt)) return;
    const std::string encoded = encodeForRequest(spelt);
    require(resolver.resolve(encoded) == spelt, "the requested URL comes back as spelt");
    const auto path = splitSpelt(encoded).path;
    if (path.empty() || path.starts_with("//")) return;
    require(resolver.resolve(path) == spelt, "and so does its path");
}

void checkAddress(std::string_view typed, std::string_view name) {
    const auto address = Address::parse(typed);
    if (!address) return;
    const std::string url = address->url();
    require(url.find('@') == url.npos || url.find('@') > url.find('/', 8), "no credentials stay");
    require(!address->host().empty() && !address->name().empty(), "host and resource have names");
    const auto again = Address::parse(url);
    require(again && again->url() == url, "an address can be typed");
    if (address->namesMember())
        require(address->asCollection().asMember().url() == url, "a member is itself");

    const auto member = address->member(name);
    if (!member) return;
    require(member->collection() == address->collection(), "a member is in its collection");
    require(member->segment().find('/') == std::string::npos, "under one segment");
    if (isText(name)) require(member->name() == name, "that stands for its name");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    auto rest = fuzz::text(data, size);
    const auto url = fuzz::takeLine(rest);
    checkEncoding(url);
    checkSegment(rest);
    checkResolution(url, rest);
    checkHrefs(url, rest);
    checkAddress(url, rest);
    return 0;
}
