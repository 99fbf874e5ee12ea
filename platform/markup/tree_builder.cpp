#include "platform/markup/tree_builder.hpp"

#include "platform/base/ascii.hpp"

namespace vxhost {
namespace {

constexpr XmlLimits LIMITS = {.bytes = 64 << 20};

bool isBlank(std::string_view text) {
    return trim(text).empty();
}

}  // namespace

std::string nodeName(std::string_view expatName) {
    if (const auto name = davName(expatName); !name.empty()) return std::string(name);
    const size_t separator = expatName.rfind('\n');
    std::string name("{");
    if (separator != expatName.npos) name.append(expatName.substr(0, separator));
    return name.append("}").append(expatName.substr(separator + 1));
}

TreeBuilder::TreeBuilder(const char* encoding) : reader_(*this, LIMITS, encoding) {}

DocumentPtr TreeBuilder::finish() {
    reader_.finish();
    return std::move(document_);
}

std::u32string_view TreeBuilder::keepName(std::string_view expatName) {
    const auto [known, isNew] = names_.try_emplace(std::string(expatName));
    if (isNew) known->second = document_->keep(nodeName(expatName));
    return known->second;
}

void TreeBuilder::append(vx::Node* node) {
    if (open_.empty()) {
        document_->firstChild = node;
        return;
    }
    auto& [element, lastChild] = open_.back();
    (lastChild ? lastChild->nextSibling : element->firstChild) = node;
    lastChild = node;
}

void TreeBuilder::appendText() {
    if (!text_.empty()) append(document_->create(vx::NODE_TEXT, document_->keep(text_)));
    text_.clear();
}

void TreeBuilder::startElement(std::string_view name) {
    if (isBlank(text_)) text_.clear();
    appendText();
    auto* element = document_->create(vx::NODE_ELEMENT, keepName(name));
    append(element);
    open_.push_back({element, nullptr});
}

void TreeBuilder::endElement() {
    if (open_.back().lastChild && isBlank(text_)) text_.clear();
    appendText();
    open_.pop_back();
}

}  // namespace vxhost
