// UTF-32 texts that a record hands out by pointer and takes back by it.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace vxhost {

// Usable from several threads. What is never given back goes with the object.
class LentTexts {
public:
    struct Text {
        std::u32string text;
        uint32_t kind;  // the lender's own
    };

    // NUL-terminated; the pointer stays valid until it is given back.
    char32_t* lend(std::u32string text, uint32_t kind);

    // Nothing when the pointer was never lent or is back already.
    std::optional<Text> takeBack(const char32_t* pointer);

    // One of those that are out; nothing when all are back.
    std::optional<Text> takeAny();

private:
    using Out = std::map<const char32_t*, std::unique_ptr<Text>>;  // by the text's own address

    std::optional<Text> take(Out::iterator found);

    std::mutex mutex_;
    Out out_;
};

}  // namespace vxhost
