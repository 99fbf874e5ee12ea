// URLs and hrefs. The first line is a URL as a person spells it, the second one a reference.
#include <string>

#include "platform/transcoder.hpp"
#include "platform/weblnk/href_resolver.hpp"
#include "platform/weblnk/url.hpp"
#include "tests/fuzz/fuzz.hpp"

namespace {

using namespace vxhost;
using fuzz::require;

// Spelt with an absolute path, or none: what is true of every URL that a collection can have.
bool isProper(std::string_view url) {
    const auto [root, path] = splitSpelt(url);
    return !root.empty() && (path.empty() || path[0] == '/');
}

bool isNormal(std::string_view url) {
    const auto path = splitReference(url).path;
    return isProper(url) && removeDotSegments(path) == path;
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
    const std::string shown = shownUtf8(shownUtf32(name));
    if (shown == name) require(decodeSegment(segment) == name, "and stands for the name");
    toUtf32(decodeSegment(shown));  // throws for what is no UTF-8
}

void checkComparison(std::string_view a, std::string_view b) {
    require(sameResource(a, a), "a resource is itself");
    require(sameResource(a, b) == sameResource(b, a), "sameResource is symmetric");
    require(sameOrigin(a, b) == sameOrigin(b, a), "sameOrigin is symmetric");
    require(origin(a).empty() || sameOrigin(a, a), "an origin is itself");
    const std::string path = removeDotSegments(a);
    require(removeDotSegments(path) == path, "dot segments are removed at once");
}

void checkResolution(std::string_view base, std::string_view reference) {
    const std::string url = resolve(base, reference);
    if (!isProper(base)) return;
    if (isNormal(base)) require(resolve(base, url) == url, "a resolved reference stays");
    const auto parts = splitReference(reference);
    if (!parts.scheme && !parts.authority) {
        require(origin(url) == origin(base), "a reference without an origin stays at the base's");
    }
}

void checkHrefs(std::string_view spelt, std::string_view href) {
    HrefResolver resolver(spelt);
    resolver.resolve(href);
    if (!isProper(spelt)) return;
    const std::string encoded = encodeForRequest(spelt);
    require(resolver.resolve(encoded) == spelt, "the requested URL comes back as spelt");
    const auto path = splitSpelt(encoded).path;
    if (!path.empty() && !path.starts_with("//")) {
        require(resolver.resolve(path) == spelt, "and so does its path");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    auto rest = fuzz::text(data, size);
    const auto url = fuzz::takeLine(rest);
    checkEncoding(url);
    checkSegment(rest);
    checkComparison(url, rest);
    checkResolution(url, rest);
    checkHrefs(url, rest);
    return 0;
}
