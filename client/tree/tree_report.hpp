// What happens to the files of a tree, as it happens.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "client/error.hpp"

namespace quillon {

enum class TreeDeed : uint8_t {
    fetched,
    stored,
    made,  // a folder or a collection
    removed,
    same,      // on both sides, already
    kept,      // somebody's change was not overwritten
    leftOver,  // is on the side to be changed alone, and was left there
    skipped,   // cannot be on the other side
    failed
};

struct TreeEvent {
    TreeDeed deed;
    std::string path;                // below the root; empty: the root
    std::string url;                 // of the other end
    std::optional<uint64_t> size{};  // of a content that was moved, in bytes
    std::optional<Error> error{};    // of what is kept, skipped or failed; of others a remark
    bool isFolder = false;
};

// After a walk that did not tell everything.
inline TreeEvent nothingRemoved() {
    return {TreeDeed::skipped,
            {},
            {},
            {},
            localError(Kind::local, "Nothing was removed, since not all of the tree was seen.")};
}

using TreeListener = std::function<void(const TreeEvent&)>;

}  // namespace quillon
