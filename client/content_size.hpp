// The size of what a server tells of.
#pragma once

#include <cstdint>
#include <optional>

namespace quillon {

// In bytes; nothing where it is not told. A collection has no size, though servers tell that of a
// directory, or of a page in its place.
inline std::optional<uint64_t> contentSize(bool isCollection, std::optional<uint64_t> told) {
    return isCollection ? std::nullopt : told;
}

}  // namespace quillon
