#include "tests/extension/tree.hpp"

namespace test {

vx::Node* Nodes::build(const std::vector<Tree>& trees) {
    vx::Node* first = nullptr;
    vx::Node** link = &first;
    for (const Tree& tree : trees) {
        vx::Node& node = nodes_.emplace_back();
        node.nodeType = tree.type;
        node.text = tree.text.data();
        node.textLength = tree.text.size() * sizeof(char32_t);
        node.firstChild = build(tree.children);
        *link = &node;
        link = &node.nextSibling;
    }
    return first;
}

}  // namespace test
