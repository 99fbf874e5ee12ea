// Finding the way in a document's tree. Everywhere a node may be null and so may the result.
#pragma once

#include <string_view>

#include "host/markup.h"

namespace vxhost {

inline std::u32string_view textOf(const vx::Node& node) {
    return {node.text, node.textLength / sizeof(char32_t)};
}

inline bool isElement(const vx::Node* node, std::u32string_view name) {
    return node && node->nodeType == vx::NODE_ELEMENT && textOf(*node) == name;
}

// The first child element of that name.
inline const vx::Node* childElement(const vx::Node* parent, std::u32string_view name) {
    const vx::Node* child = parent ? parent->firstChild : nullptr;
    while (child && !isElement(child, name)) child = child->nextSibling;
    return child;
}

// The text that the element begins with; empty when it begins with none.
inline std::u32string_view content(const vx::Node* element) {
    const vx::Node* child = element ? element->firstChild : nullptr;
    return child && child->nodeType != vx::NODE_ELEMENT ? textOf(*child) : std::u32string_view();
}

}  // namespace vxhost
