#include "platform/markup/document.hpp"

#include <utf8.h>

#include <algorithm>

#include "platform/base/slots.hpp"

namespace vxhost {

constexpr size_t FIRST_BLOCK = 12 << 10;  // bytes; enough for a request and for one member

TreeDocument::TreeDocument() : memory_(FIRST_BLOCK), nodes_(memory_) {
    fillSlots<vx::Document>(*this);
    Destroy = [](vx::Document* document) { delete static_cast<TreeDocument*>(document); };
    firstChild = nullptr;
}

std::u32string_view TreeDocument::keep(std::string_view wellFormedUtf8) {
    const auto characters = static_cast<size_t>(
        utf8::unchecked::distance(wellFormedUtf8.begin(), wellFormedUtf8.end()));
    const size_t bytes = characters * sizeof(char32_t);
    auto* text = static_cast<char32_t*>(memory_.allocate(bytes, alignof(char32_t)));
    utf8::unchecked::utf8to32(wellFormedUtf8.begin(), wellFormedUtf8.end(), text);
    bytes_ += bytes;
    return {text, characters};
}

std::u32string_view TreeDocument::keep(std::u32string_view text) {
    const size_t bytes = text.size() * sizeof(char32_t);
    auto* kept = static_cast<char32_t*>(memory_.allocate(bytes, alignof(char32_t)));
    std::copy(text.begin(), text.end(), kept);
    bytes_ += bytes;
    return {kept, text.size()};
}

}  // namespace vxhost
