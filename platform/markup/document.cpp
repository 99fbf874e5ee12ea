#include "platform/markup/document.hpp"

#include <sys/mman.h>
#include <utf8.h>

#include <algorithm>
#include <new>

#include "platform/base/slots.hpp"

namespace vxhost {
namespace {

constexpr size_t FIRST_BLOCK = 12 << 10;  // bytes; enough for a request and for one member

bool isAscii(std::string_view text) {
    // Without an early end, so that the compiler takes many at once.
    unsigned char all = 0;
    for (const char c : text) all |= static_cast<unsigned char>(c);
    return all < 0x80;
}

// Large blocks in huge pages where the system has them: a fault for each 4 KiB of a listing took as
// long as a third of its parsing. A page is used up before the next one is touched.
class LargeBlocks final : public std::pmr::memory_resource {
    static constexpr size_t hugePage = 2 << 20;  // bytes

    void* do_allocate(size_t bytes, size_t alignment) override {
        if (bytes < hugePage) return ::operator new(bytes, std::align_val_t(alignment));
        void* block = ::operator new(bytes, std::align_val_t(hugePage));
        madvise(block, bytes, MADV_HUGEPAGE);  // a hint: nothing depends on it
        return block;
    }
    void do_deallocate(void* block, size_t bytes, size_t alignment) override {
        ::operator delete(block, std::align_val_t(bytes < hugePage ? alignment : hugePage));
    }
    bool do_is_equal(const memory_resource& other) const noexcept override {
        return this == &other;
    }
};

LargeBlocks largeBlocks;

}  // namespace

TreeDocument::TreeDocument() : memory_(FIRST_BLOCK, &largeBlocks) {
    fillSlots<vx::Document>(*this);
    Destroy = [](vx::Document* document) { delete static_cast<TreeDocument*>(document); };
    firstChild = nullptr;
}

std::byte* TreeDocument::allocate(size_t bytes, size_t alignment) {
    auto* block = static_cast<std::byte*>(memory_.allocate(bytes, alignment));
    bytes_ += bytes;
    return block;
}

vx::Node* TreeDocument::create(uint32_t nodeType, std::u32string_view text) {
    auto* node = new (allocate(sizeof(vx::Node), alignof(vx::Node))) vx::Node{};
    node->nodeType = nodeType;
    node->text = text.data();
    node->textLength = text.size() * sizeof(char32_t);
    return node;
}

std::u32string_view TreeDocument::keep(std::string_view wellFormedUtf8) {
    const bool ascii = isAscii(wellFormedUtf8);
    const auto characters = ascii ? wellFormedUtf8.size()
                                  : static_cast<size_t>(utf8::unchecked::distance(
                                        wellFormedUtf8.begin(), wellFormedUtf8.end()));
    auto* text =
        reinterpret_cast<char32_t*>(allocate(characters * sizeof(char32_t), alignof(char32_t)));
    if (ascii) {
        std::copy(wellFormedUtf8.begin(), wellFormedUtf8.end(), text);
    } else {
        utf8::unchecked::utf8to32(wellFormedUtf8.begin(), wellFormedUtf8.end(), text);
    }
    return {text, characters};
}

}  // namespace vxhost
