#include "platform/http/secret_text.hpp"

#include <utf8.h>

#include "platform/base/status.hpp"

namespace vxhost {

SecretText::SecretText(std::u32string_view text) {
    if (text.empty()) return;
    Secret bytes(text.size() * 4 + 1);  // a string that grows would leave copies behind
    try {
        char* end = utf8::utf32to8(text.begin(), text.end(), bytes.text());
        *end = '\0';
    } catch (const utf8::exception&) {
        throw Failure(TRANSCODE_INVALID, "The user name or password holds an invalid character.");
    }
    bytes_ = std::move(bytes);
}

SecretText::SecretText(std::string_view utf8) {
    if (utf8.empty()) return;
    Secret bytes(utf8.size() + 1);
    bytes.text()[utf8.copy(bytes.text(), utf8.size())] = '\0';
    bytes_ = std::move(bytes);
}

bool SecretText::operator==(const SecretText& other) const {
    if (empty() || other.empty()) return empty() == other.empty();
    return std::string_view(get()) == other.get();
}

}  // namespace vxhost
