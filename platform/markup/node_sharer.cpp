#include "platform/markup/node_sharer.hpp"

#include <utf8.h>

#include <functional>
#include <iterator>

#include "platform/markup/walk.hpp"

namespace vxhost {
namespace {

// Addresses differ in their middle bits; the multiplication carries them to the top.
size_t mix(size_t hash, const void* address) {
    constexpr size_t odd = 0x9E3779B97F4A7C15u;
    const size_t mixed = (hash ^ reinterpret_cast<size_t>(address)) * odd;
    return mixed ^ (mixed >> 32);
}

}  // namespace

vx::Node* NodeSharer::element(std::u32string_view name, vx::Node* firstChild,
                              vx::Node* nextSibling) {
    vx::Node*& recent = slot(mix(mix(mix(0, name.data()), firstChild), nextSibling));
    if (recent && recent->text == name.data() && recent->nodeType == vx::NODE_ELEMENT &&
        recent->firstChild == firstChild && recent->nextSibling == nextSibling) {
        return recent;
    }
    auto* node = document_.create(vx::NODE_ELEMENT, name);
    node->firstChild = firstChild;
    node->nextSibling = nextSibling;
    return recent = node;
}

vx::Node* NodeSharer::text(std::string_view wellFormedUtf8) {
    vx::Node*& recent = slot(std::hash<std::string_view>{}(wellFormedUtf8));
    wide_.clear();
    utf8::unchecked::utf8to32(wellFormedUtf8.begin(), wellFormedUtf8.end(),
                              std::back_inserter(wide_));
    if (recent && recent->nodeType == vx::NODE_TEXT && textOf(*recent) == wide_) return recent;
    return recent = document_.create(vx::NODE_TEXT, document_.keep(wide_));
}

}  // namespace vxhost
