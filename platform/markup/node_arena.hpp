// Memory of a document's nodes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory_resource>
#include <string_view>

#include "host/markup.h"

namespace vxhost {

// A node is 152 bytes of which 36 are named; the others are the owner's own. Nodes therefore lie
// STRIDE bytes apart and reach into one another, each with its named fields in the other's unnamed
// ones: a listing of 100,000 members takes half the memory. So a node is only ever made here, and
// only named fields are written, never a whole vx::Node.
class NodeArena {
public:
    static constexpr size_t STRIDE = 80;

    explicit NodeArena(std::pmr::memory_resource& memory) : memory_(memory) {}

    // A node without child and sibling. The text is not copied. Throws std::bad_alloc.
    vx::Node* create(uint32_t nodeType, std::u32string_view text);

private:
    std::pmr::memory_resource& memory_;
    std::byte* next_ = nullptr;
    size_t left_ = 0;  // nodes that the current block still has room for
};

}  // namespace vxhost
