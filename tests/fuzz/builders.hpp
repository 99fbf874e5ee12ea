// XML in pieces.
#pragma once

#include <string_view>

#include "platform/markup/multistatus_builder.hpp"
#include "platform/markup/tree_builder.hpp"
#include "platform/status.hpp"

namespace fuzz {

// The document that the builder makes of the bytes when they come in pieces of that many; null when
// it refuses them.
template <class Builder>
vxhost::DocumentPtr read(Builder& builder, std::string_view bytes, size_t pieceBytes) {
    try {
        for (; !bytes.empty(); bytes.remove_prefix(std::min(pieceBytes, bytes.size()))) {
            builder.feed(bytes.substr(0, pieceBytes));
        }
        return builder.finish();
    } catch (const vxhost::Failure&) {
        return nullptr;
    }
}

template <class Builder>
vxhost::DocumentPtr read(std::string_view bytes, size_t pieceBytes = SIZE_MAX) {
    Builder builder;
    return read(builder, bytes, pieceBytes);
}

}  // namespace fuzz
