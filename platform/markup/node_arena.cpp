#include "platform/markup/node_arena.hpp"

#include <cstring>
#include <span>

namespace vxhost {
namespace {

constexpr size_t PERIODS_PER_BLOCK = 32;

struct Field {
    size_t offset, size;
};

constexpr std::array<Field, 5> NAMED = {{
    {offsetof(vx::Node, nextSibling), sizeof(void*)},
    {offsetof(vx::Node, firstChild), sizeof(void*)},
    {offsetof(vx::Node, nodeType), sizeof(vx::Node::nodeType)},
    {offsetof(vx::Node, text), sizeof(void*)},
    {offsetof(vx::Node, textLength), sizeof(vx::Node::textLength)},
}};

// Every byte of a period, wherever the node it belongs to begins, is named by one node at most.
consteval bool neverCollide() {
    std::array<bool, NodeArena::PERIOD> taken{};
    for (const size_t place : NodeArena::PLACES) {
        for (const Field& field : NAMED) {
            for (size_t i = 0; i < field.size; ++i) {
                bool& byte = taken[(place + field.offset + i) % NodeArena::PERIOD];
                if (byte) return false;
                byte = true;
            }
        }
    }
    return true;
}

consteval bool allAligned() {
    for (const size_t place : NodeArena::PLACES) {
        if (place % alignof(vx::Node) != 0) return false;
    }
    return NodeArena::PERIOD % alignof(vx::Node) == 0;
}

static_assert(neverCollide());
static_assert(allAligned());

// The last node of a block reaches beyond its period.
constexpr size_t BLOCK_BYTES =
    (PERIODS_PER_BLOCK - 1) * NodeArena::PERIOD + NodeArena::PLACES.back() + sizeof(vx::Node);

template <class Field>
void copyField(vx::Node* node, size_t offset, Field field) {
    const auto bytes = std::as_bytes(std::span(&field, 1));
    std::memcpy(reinterpret_cast<std::byte*>(node) + offset, bytes.data(), bytes.size());
}

}  // namespace

std::byte* NodeArena::nextPlace() {
    if (place_ == PLACES.size()) {
        place_ = 0;
        if (periodsLeft_ > 0) {
            period_ += PERIOD;
            --periodsLeft_;
        } else {
            period_ = document_.allocate(BLOCK_BYTES, alignof(vx::Node));
            periodsLeft_ = PERIODS_PER_BLOCK - 1;
        }
    }
    return period_ + PLACES[place_++];
}

vx::Node* NodeArena::create(uint32_t nodeType, std::u32string_view text, const vx::Node* firstChild,
                            const vx::Node* nextSibling) {
    auto* node = reinterpret_cast<vx::Node*>(nextPlace());
    setNextSibling(node, nextSibling);
    setFirstChild(node, firstChild);
    copyField(node, offsetof(vx::Node, nodeType), nodeType);
    copyField(node, offsetof(vx::Node, text), text.data());
    copyField(node, offsetof(vx::Node, textLength), uint64_t{text.size() * sizeof(char32_t)});
    return node;
}

void NodeArena::setFirstChild(vx::Node* node, const vx::Node* child) {
    copyField(node, offsetof(vx::Node, firstChild), child);
}

void NodeArena::setNextSibling(vx::Node* node, const vx::Node* sibling) {
    copyField(node, offsetof(vx::Node, nextSibling), sibling);
}

}  // namespace vxhost
