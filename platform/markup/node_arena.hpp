// Memory of a document's nodes.
#pragma once

#include <array>
#include <cstddef>
#include <memory_resource>
#include <string_view>

#include "host/markup.h"

namespace vxhost {

// A node is 152 bytes of which 36 are named; the others are the owner's own. Nodes therefore lie
// inside one another, each with its named fields in unnamed bytes of its neighbours: four in every
// 208 bytes, the closest packing with a period of up to 480, which is a third of the memory. So a
// node is only ever made here, and only its named fields are written, never a whole vx::Node.
class NodeArena {
public:
    static constexpr size_t PERIOD = 208;
    static constexpr std::array<size_t, 4> PLACES = {0, 32, 80, 160};  // repeated every PERIOD
    static constexpr size_t BYTES_PER_NODE = PERIOD / PLACES.size();

    explicit NodeArena(std::pmr::memory_resource& memory) : memory_(memory) {}

    // A node without child and sibling. The text is not copied. Throws std::bad_alloc.
    vx::Node* create(uint32_t nodeType, std::u32string_view text);

private:
    std::byte* nextPlace();

    std::pmr::memory_resource& memory_;
    std::byte* period_ = nullptr;  // the current one
    size_t periodsLeft_ = 0;       // in the block, behind the current one
    size_t place_ = PLACES.size();
};

}  // namespace vxhost
