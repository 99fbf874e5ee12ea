#include "platform/markup/node_arena.hpp"

#include <algorithm>
#include <array>

namespace vxhost {
namespace {

constexpr size_t NODES_PER_BLOCK = 100;

struct Field {
    size_t offset, size;
};

constexpr std::array<Field, 5> NAMED = {{
    {offsetof(vx::Node, nextSibling), sizeof(vx::Node::nextSibling)},
    {offsetof(vx::Node, firstChild), sizeof(vx::Node::firstChild)},
    {offsetof(vx::Node, nodeType), sizeof(vx::Node::nodeType)},
    {offsetof(vx::Node, text), sizeof(vx::Node::text)},
    {offsetof(vx::Node, textLength), sizeof(vx::Node::textLength)},
}};

// No named field of a node shares a byte with one of the node so many bytes behind it.
consteval bool apartAt(size_t distance) {
    for (const Field& ours : NAMED) {
        for (const Field& theirs : NAMED) {
            const size_t begin = distance + theirs.offset;
            if (begin < ours.offset + ours.size && ours.offset < begin + theirs.size) return false;
        }
    }
    return true;
}

consteval bool neverCollide() {
    for (size_t distance = NodeArena::STRIDE; distance < sizeof(vx::Node);
         distance += NodeArena::STRIDE) {
        if (!apartAt(distance)) return false;
    }
    return true;
}

static_assert(neverCollide());
static_assert(NodeArena::STRIDE % alignof(vx::Node) == 0);
static_assert(sizeof(vx::Node) >= NodeArena::STRIDE);

// The last node of a block reaches beyond its stride.
constexpr size_t BLOCK_BYTES = (NODES_PER_BLOCK - 1) * NodeArena::STRIDE + sizeof(vx::Node);

}  // namespace

vx::Node* NodeArena::create(uint32_t nodeType, std::u32string_view text) {
    if (left_ == 0) {
        next_ = static_cast<std::byte*>(memory_.allocate(BLOCK_BYTES, alignof(vx::Node)));
        left_ = NODES_PER_BLOCK;
    }
    auto* node = reinterpret_cast<vx::Node*>(next_);
    next_ += STRIDE;
    --left_;
    node->nextSibling = nullptr;
    node->firstChild = nullptr;
    node->nodeType = nodeType;
    node->text = text.data();
    node->textLength = text.size() * sizeof(char32_t);
    return node;
}

}  // namespace vxhost
