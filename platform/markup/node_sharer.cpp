#include "platform/markup/node_sharer.hpp"

#include <utf8.h>

#include <functional>

#include "platform/markup/walk.hpp"

namespace vxhost {
namespace {

// Addresses differ in their middle bits; the multiplication carries them to the top.
size_t mix(size_t hash, const void* address) {
    constexpr size_t odd = 0x9E3779B97F4A7C15u;
    const size_t mixed = (hash ^ reinterpret_cast<size_t>(address)) * odd;
    return mixed ^ (mixed >> 32);
}

bool equals(std::u32string_view wide, std::string_view wellFormedUtf8) {
    const char* at = wellFormedUtf8.data();
    const char* const end = at + wellFormedUtf8.size();
    for (const char32_t character : wide) {
        if (at == end || utf8::unchecked::next(at) != character) return false;
    }
    return at == end;
}

}  // namespace

const vx::Node* NodeSharer::element(std::u32string_view name, const vx::Node* firstChild,
                                    const vx::Node* nextSibling) {
    const vx::Node*& recent = slot(mix(mix(mix(0, name.data()), firstChild), nextSibling));
    if (recent && nodeText(recent) == name.data() && nodeType(recent) == vx::NODE_ELEMENT &&
        nodeFirstChild(recent) == firstChild && nodeNextSibling(recent) == nextSibling) {
        return recent;
    }
    return recent = nodes_.create(vx::NODE_ELEMENT, name, firstChild, nextSibling);
}

const vx::Node* NodeSharer::text(std::string_view wellFormedUtf8) {
    const vx::Node*& recent = slot(std::hash<std::string_view>{}(wellFormedUtf8));
    if (recent && nodeType(recent) == vx::NODE_TEXT && equals(textOf(*recent), wellFormedUtf8)) {
        return recent;
    }
    return recent = nodes_.create(vx::NODE_TEXT, document_.keep(wellFormedUtf8));
}

}  // namespace vxhost
