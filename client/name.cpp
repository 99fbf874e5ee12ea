#include "client/name.hpp"

#include <fmt/format.h>

#include "platform/text/url.hpp"

namespace quillon {

Result<std::string> segmentFor(std::string_view name) {
    if (name.empty() || name == "." || name == "..") {
        return localError(Kind::usage, fmt::format("\"{}\" cannot be a member's name.", name));
    }
    return vxhost::encodeSegment(name);
}

}  // namespace quillon
