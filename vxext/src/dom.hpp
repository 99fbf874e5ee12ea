// Walking the trees of the XML layer. Nodes belong to their document; where there is none, null is
// returned.
#pragma once

#include <cstring>

#include "host/markup.h"

namespace vx {

// The name of a DAV: element, and its length in bytes as a node counts it.
struct ElementName {
    template <size_t N>
    consteval ElementName(const char32_t (&literal)[N])
        : text(literal), bytes((N - 1) * sizeof(char32_t)) {}
    const char32_t* text;
    uint64_t bytes;
};

inline bool squillonNamed(const Node* element, const ElementName& name) {
    return nodeTextLength(element) == name.bytes &&
           std::memcmp(nodeText(element), name.text, name.bytes) == 0;
}

// The node, which may be null, or the first of its following siblings that is an element.
inline const Node* squillonElementFrom(const Node* node) {
    while (node && nodeType(node) != NODE_ELEMENT) node = nodeNextSibling(node);
    return node;
}

inline const Node* squillonNextElement(const Node* node) {
    return squillonElementFrom(nodeNextSibling(node));
}

// The first child element of that name.
inline const Node* squillonChildNamed(const Node* parent, const ElementName& name) {
    const Node* child = squillonElementFrom(nodeFirstChild(parent));
    while (child && !squillonNamed(child, name)) child = squillonNextElement(child);
    return child;
}

// The first child, if it is text.
inline const Node* squillonTextChild(const Node* element) {
    const Node* child = nodeFirstChild(element);
    if (!child) return nullptr;
    const uint32_t type = nodeType(child);
    return type == NODE_TEXT || type == NODE_CDATA ? child : nullptr;
}

inline uint64_t squillonCharacters(const Node* text) {
    return nodeTextLength(text) / sizeof(char32_t);
}

inline const Node* squillonRoot(const Document* document) {
    return squillonElementFrom(document->firstChild);
}

// The first response of a multistatus: the root itself, or the first one that is met by going down
// from first element to first element.
inline const Node* squillonFirstResponse(const Node* root) {
    while (root && !squillonNamed(root, U"response"))
        root = squillonElementFrom(nodeFirstChild(root));
    return root;
}

// Destroys a document at the end of a scope.
class [[nodiscard]] DocumentPtr {
public:
    explicit DocumentPtr(Document* document = nullptr) : document_(document) {}
    DocumentPtr(const DocumentPtr&) = delete;
    DocumentPtr& operator=(const DocumentPtr&) = delete;
    ~DocumentPtr() {
        if (document_) document_->Destroy(document_);
    }

    explicit operator bool() const { return document_ != nullptr; }
    Document* get() const { return document_; }
    Document** address() { return &document_; }  // for an operation that fills it

private:
    Document* document_;
};

}  // namespace vx
