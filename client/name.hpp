// Names as a person says them.
#pragma once

#include <string>
#include <string_view>

#include "client/result.hpp"

namespace quillon {

// The one path segment of a URL that stands for the name, all of whose characters are taken as they
// are. Fails with Kind::usage for what no member can be called.
Result<std::string> segmentFor(std::string_view name);

// The last segment of an href, whether it ends in "/" or not. Text is a string view.
template <class Text>
Text lastSegment(Text href) {
    if (!href.empty() && href.back() == '/') href.remove_suffix(1);
    return href.substr(href.rfind('/') + 1);
}

}  // namespace quillon
