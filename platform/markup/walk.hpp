// Finding the way in a document's tree. Everywhere a node may be null and so may the result.
#pragma once

#include <string_view>

#include "host/markup.h"

namespace vxhost {

inline std::u32string_view textOf(const vx::Node& node) {
    return {nodeText(&node), nodeTextLength(&node) / sizeof(char32_t)};
}

inline bool isElement(const vx::Node* node, std::u32string_view name) {
    return node && nodeType(node) == vx::NODE_ELEMENT && textOf(*node) == name;
}

// The first child element of that name.
inline const vx::Node* childElement(const vx::Node* parent, std::u32string_view name) {
    const vx::Node* child = parent ? nodeFirstChild(parent) : nullptr;
    while (child && !isElement(child, name)) child = nodeNextSibling(child);
    return child;
}

// The text that the element begins with; empty when it begins with none.
inline std::u32string_view content(const vx::Node* element) {
    const vx::Node* child = element ? nodeFirstChild(element) : nullptr;
    return child && nodeType(child) != vx::NODE_ELEMENT ? textOf(*child) : std::u32string_view();
}

}  // namespace vxhost
