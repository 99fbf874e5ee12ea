// One node for equal ones.
#pragma once

#include <array>
#include <string>
#include <string_view>

#include "platform/markup/document.hpp"

namespace vxhost {

// Members of a collection often have the same dates, sizes and types. A node knows its child and
// its next sibling only, so equal nodes may be one, as long as nobody changes it afterwards. Of the
// nodes made, only the most recent with the same hash is remembered.
class NodeSharer {
public:
    explicit NodeSharer(TreeDocument& document) : document_(document) {}

    // name: a constant; the same one for the same name.
    vx::Node* element(std::u32string_view name, vx::Node* firstChild, vx::Node* nextSibling);
    vx::Node* text(std::string_view wellFormedUtf8);

private:
    vx::Node*& slot(size_t hash) { return recent_[hash % recent_.size()]; }

    TreeDocument& document_;
    std::array<vx::Node*, 4096> recent_{};
    std::u32string wide_;
};

}  // namespace vxhost
