// A document of ours: nodes and texts in one arena.
#pragma once

#include <cstddef>
#include <memory>
#include <memory_resource>
#include <string_view>

#include "host/markup.h"

namespace vxhost {

// What the document hands out lives until it is destroyed. Its operations throw for memory only.
class TreeDocument : public vx::Document {
public:
    TreeDocument();
    TreeDocument(const TreeDocument&) = delete;
    TreeDocument& operator=(const TreeDocument&) = delete;

    std::byte* allocate(size_t bytes, size_t alignment);

    // A node that has no place in the tree yet. The text must live as long as the document: a
    // constant, or kept by it.
    vx::Node* create(uint32_t nodeType, std::u32string_view text);

    std::u32string_view keep(std::string_view wellFormedUtf8);

    uint64_t bytes() const { return bytes_; }  // allocated so far

private:
    std::pmr::monotonic_buffer_resource memory_;
    uint64_t bytes_ = 0;
};

// To hand a document over to those who know it by its operations alone: release().
using DocumentPtr = std::unique_ptr<TreeDocument>;

}  // namespace vxhost
