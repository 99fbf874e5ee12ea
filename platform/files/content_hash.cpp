#include "platform/files/content_hash.hpp"

#include <array>
#include <new>

namespace vxhost {

// Until it is asked to look at the processor, the library takes what runs on all of them.
ContentHash::ContentHash() {
    static const bool isReady = sodium_init() >= 0;
    if (!isReady) throw std::bad_alloc();
    reset();
}

void ContentHash::reset() {
    crypto_generichash_init(&state_, nullptr, 0, crypto_generichash_BYTES);
}

void ContentHash::add(std::string_view piece) {
    crypto_generichash_update(&state_, reinterpret_cast<const unsigned char*>(piece.data()),
                              piece.size());
}

std::string ContentHash::hex() const {
    crypto_generichash_state state = state_;
    std::array<unsigned char, crypto_generichash_BYTES> digest{};
    crypto_generichash_final(&state, digest.data(), digest.size());
    std::string text(2 * digest.size() + 1, '\0');
    sodium_bin2hex(text.data(), text.size(), digest.data(), digest.size());
    text.pop_back();
    return text;
}

}  // namespace vxhost
