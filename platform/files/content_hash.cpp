#include "platform/files/content_hash.hpp"

#include <array>

namespace vxhost {

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
