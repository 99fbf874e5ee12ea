// Nodes of a large document, packed.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

#include "platform/markup/document.hpp"

namespace vxhost {

// A node is 152 bytes of which 36 are named, and is read by these fields alone. A vx::Node* from
// here is an address whose fields lie at their offsets, four such in every 208 bytes, each with its
// fields in gaps of the others; that is the closest packing with a period of up to 700 bytes, and a
// third of the memory of whole records. No object of type vx::Node is there: the fields are copied
// to and from plain bytes.
class NodeArena {
public:
    static constexpr size_t PERIOD = 208;
    static constexpr std::array<size_t, 4> PLACES = {0, 32, 80, 160};  // repeated every PERIOD

    explicit NodeArena(TreeDocument& document) : document_(document) {}

    // The text is not copied; it must live as long as the document. Throws std::bad_alloc.
    vx::Node* create(uint32_t nodeType, std::u32string_view text,
                     const vx::Node* firstChild = nullptr, const vx::Node* nextSibling = nullptr);

    static void setFirstChild(vx::Node* node, const vx::Node* child);
    static void setNextSibling(vx::Node* node, const vx::Node* sibling);

private:
    std::byte* nextPlace();

    TreeDocument& document_;
    std::byte* period_ = nullptr;  // the current one
    size_t periodsLeft_ = 0;       // in the block, behind the current one
    size_t place_ = PLACES.size();
};

}  // namespace vxhost
