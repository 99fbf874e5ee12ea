// Documents from literals.
#pragma once

#include <string>
#include <vector>

#include "host/markup.h"

namespace test {

struct Tree {
    uint32_t type;
    std::u32string text;  // an element's name, or the content
    std::vector<Tree> children = {};
    vx::Node node = {};
};

// The first node of the chain, or null. The nodes lie in the trees, and show their texts.
inline vx::Node* nodesOf(std::vector<Tree>& trees) {
    vx::Node* next = nullptr;
    for (auto tree = trees.rbegin(); tree != trees.rend(); next = &tree++->node) {
        tree->node.nodeType = tree->type;
        tree->node.text = tree->text.data();
        tree->node.textLength = tree->text.size() * sizeof(char32_t);
        tree->node.firstChild = nodesOf(tree->children);
        tree->node.nextSibling = next;
    }
    return next;
}

inline Tree text(std::u32string content) {
    return {vx::NODE_TEXT, std::move(content)};
}
inline Tree cdata(std::u32string content) {
    return {vx::NODE_CDATA, std::move(content)};
}
inline Tree comment() {
    return {8, U"!"};
}
inline Tree element(std::u32string name, std::vector<Tree> children = {}) {
    return {vx::NODE_ELEMENT, std::move(name), std::move(children)};
}
inline Tree element(std::u32string name, std::u32string content) {
    return element(std::move(name), {text(std::move(content))});
}

// A response of a multistatus, with one propstat.
inline Tree response(std::u32string href, std::vector<Tree> properties = {}) {
    return element(U"response", {element(U"href", std::move(href)),
                                 element(U"propstat", {element(U"prop", std::move(properties))})});
}

}  // namespace test
