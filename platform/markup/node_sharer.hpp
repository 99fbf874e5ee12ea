// One node for equal ones.
#pragma once

#include <array>
#include <string_view>

#include "platform/markup/document.hpp"
#include "platform/markup/node_arena.hpp"

namespace vxhost {

// Members of a collection often have the same dates, sizes and types. A node knows its child and
// its next sibling only, so equal nodes may be one, as long as nobody changes it afterwards. Of the
// nodes made, only the most recent with the same hash is remembered.
class NodeSharer {
public:
    NodeSharer(TreeDocument& document, NodeArena& nodes) : document_(document), nodes_(nodes) {}

    // name: a constant; the same one for the same name.
    const vx::Node* element(std::u32string_view name, const vx::Node* firstChild,
                            const vx::Node* nextSibling);
    const vx::Node* text(std::string_view wellFormedUtf8);

private:
    const vx::Node*& slot(size_t hash) { return recent_[hash % recent_.size()]; }

    TreeDocument& document_;
    NodeArena& nodes_;
    std::array<const vx::Node*, 4096> recent_{};
};

}  // namespace vxhost
