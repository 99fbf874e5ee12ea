#include "platform/text/href_resolver.hpp"

#include <utility>

#include "platform/text/url.hpp"
#include "platform/text/url_path.hpp"

namespace vxhost {
namespace {

// Nothing that resolution would change: an absolute path without dot segments.
bool isPlainPath(std::string_view href) {
    return href.starts_with('/') && !href.starts_with("//") && href.find("/.") == href.npos;
}

// A collection's name stands before its final slash.
bool namesMember(std::string_view path) {
    if (path.ends_with('/')) path.remove_suffix(1);
    const auto segment = path.substr(path.rfind('/') + 1);
    return !segment.empty() && !isDotSegment(segment);
}

// A reference that is a member's name and nothing else.
bool isPlainSegment(std::string_view href) {
    return href.find_first_of("/:?#") == href.npos && namesMember(href);
}

// Most servers take several for one, and answer so.
std::string withSingleSlashes(std::string_view path) {
    std::string text;
    for (const char c : path) {
        if (c != '/' || !text.ends_with('/')) text += c;
    }
    return text;
}

}  // namespace

HrefResolver::HrefResolver(std::string_view spelt, std::string asked)
    : spelt_(spelt), base_(asked.empty() ? encodeForRequest(spelt) : std::move(asked)) {
    const auto parts = splitSpelt(spelt_);
    root_ = parts.root;
    path_ = parts.path;
    askedPath_ = withSingleSlashes(splitReference(base_).path);
    redirected_ = !samePath(path_, askedPath_);
    hasSegments_ = !redirected_ && path_.ends_with('/');
}

bool HrefResolver::isRequested(std::string_view path) const {
    return samePath(path, path_) || (redirected_ && samePath(path, askedPath_));
}

// Nearly every href is a member's: it begins with the very spelling of its collection and goes on,
// which one comparison of memory tells. A member of a member is none that a listing names.
std::string_view HrefResolver::segmentIn(std::string_view path) const {
    const bool inside = hasSegments_ && path.starts_with(path_);
    const auto rest = inside ? path.substr(path_.size()) : std::string_view();
    return rest.find('/') < rest.size() - 1 ? std::string_view() : rest;
}

std::string_view HrefResolver::resolve(std::string_view href) {
    if (hasSegments_ && isPlainSegment(href)) return href;
    const auto path = href.substr(href.starts_with(root_) ? root_.size() : 0);
    if (isPlainPath(path)) {
        const auto segment = segmentIn(path);
        if (!segment.empty()) return namesMember(segment) ? segment : spelt_;
        return isRequested(path) || !namesMember(path) ? spelt_ : path;
    }
    if (!namesMember(splitReference(href).path)) return spelt_;
    result_ = vxhost::resolve(base_, href);
    const auto spelt = splitSpelt(result_).path;
    const auto plain = removeDotSegments(spelt);
    const bool isSelf = samePath(plain, removeDotSegments(path_)) ||
                        (redirected_ && samePath(plain, removeDotSegments(askedPath_)));
    return isSelf || !namesMember(spelt) ? spelt_ : result_;
}

}  // namespace vxhost
