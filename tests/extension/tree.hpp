// Documents from literals.
#pragma once

#include <deque>
#include <string>
#include <vector>

#include "host/markup.h"

namespace test {

struct Tree {
    uint32_t type;
    std::u32string text;  // an element's name, or the content
    std::vector<Tree> children = {};
};

inline Tree element(std::u32string name, std::vector<Tree> children = {}) {
    return {vx::NODE_ELEMENT, std::move(name), std::move(children)};
}
inline Tree element(std::u32string name, std::u32string content) {
    return element(std::move(name), {{vx::NODE_TEXT, std::move(content)}});
}
inline Tree text(std::u32string content) {
    return {vx::NODE_TEXT, std::move(content)};
}
inline Tree cdata(std::u32string content) {
    return {vx::NODE_CDATA, std::move(content)};
}
inline Tree comment(std::u32string content) {
    return {8, std::move(content)};
}

// A response of a multistatus, with one propstat.
inline Tree response(std::u32string href, std::vector<Tree> properties = {}) {
    return element(U"response", {element(U"href", std::move(href)),
                                 element(U"propstat", {element(U"prop", std::move(properties))})});
}

// Nodes over the texts of the trees, which must outlive them.
class Nodes {
public:
    // The first node of the chain, or null.
    vx::Node* build(const std::vector<Tree>& trees);

private:
    std::deque<vx::Node> nodes_;
};

}  // namespace test
