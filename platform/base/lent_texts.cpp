#include "platform/base/lent_texts.hpp"

#include <utility>

namespace vxhost {

char32_t* LentTexts::lend(std::u32string text, uint32_t kind) {
    auto lent = std::make_unique<Text>(Text{std::move(text), kind});
    char32_t* pointer = lent->text.data();
    const std::lock_guard lock(mutex_);
    out_.emplace(pointer, std::move(lent));
    return pointer;
}

std::optional<LentTexts::Text> LentTexts::takeBack(const char32_t* pointer) {
    const std::lock_guard lock(mutex_);
    return take(out_.find(pointer));
}

std::optional<LentTexts::Text> LentTexts::takeAny() {
    const std::lock_guard lock(mutex_);
    return take(out_.begin());
}

std::optional<LentTexts::Text> LentTexts::take(Out::iterator found) {
    if (found == out_.end()) return std::nullopt;
    return std::move(*out_.extract(found).mapped());
}

}  // namespace vxhost
