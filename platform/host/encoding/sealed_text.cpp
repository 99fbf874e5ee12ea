#include "platform/host/encoding/sealed_text.hpp"

#include <sodium.h>

#include <cstring>
#include <vector>

#include "platform/base/status.hpp"

namespace vxhost {
namespace {

constexpr size_t nonceBytes = crypto_aead_xchacha20poly1305_ietf_NPUBBYTES;
constexpr size_t authenticationBytes = crypto_aead_xchacha20poly1305_ietf_ABYTES;
constexpr int sealedAlphabet = sodium_base64_VARIANT_URLSAFE_NO_PADDING;

const unsigned char* bytes(std::string_view text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

[[noreturn]] void refuse(const char* why) {
    throw Failure(ENCODING_REFUSED, why);
}

Secret decode(std::string_view text, int alphabet) {
    Secret result(text.size() / 4 * 3 + 3);
    size_t length = 0;
    const char* end = nullptr;
    if (sodium_base642bin(result.data(), result.size(), text.data(), text.size(), nullptr, &length,
                          &end, alphabet) != 0 ||
        end != text.data() + text.size()) {
        refuse("not base64");
    }
    result.shorten(length);
    return result;
}

}  // namespace

std::string seal(const Secret& clear, const Secret& key) {
    std::vector<unsigned char> sealed(nonceBytes + clear.size() + authenticationBytes);
    randombytes_buf(sealed.data(), nonceBytes);
    crypto_aead_xchacha20poly1305_ietf_encrypt(sealed.data() + nonceBytes, nullptr, clear.data(),
                                               clear.size(), bytes(sealTag), sealTag.size(),
                                               nullptr, sealed.data(), key.data());
    std::string text(sodium_base64_encoded_len(sealed.size(), sealedAlphabet), '\0');
    sodium_bin2base64(text.data(), text.size(), sealed.data(), sealed.size(), sealedAlphabet);
    text.pop_back();  // its NUL
    return text.insert(0, sealTag);
}

Secret unseal(std::string_view text, const Secret& key) {
    const Secret sealed = decode(text, sealedAlphabet);
    if (sealed.size() < nonceBytes + authenticationBytes) refuse("too short");
    Secret clear(sealed.size() - nonceBytes - authenticationBytes);
    if (crypto_aead_xchacha20poly1305_ietf_decrypt(
            clear.data(), nullptr, nullptr, sealed.data() + nonceBytes, sealed.size() - nonceBytes,
            bytes(sealTag), sealTag.size(), sealed.data(), key.data()) != 0) {
        refuse("altered, or of another key");
    }
    return clear;
}

Secret encodeBase64(std::string_view clear) {
    constexpr int alphabet = sodium_base64_VARIANT_ORIGINAL_NO_PADDING;
    Secret text(sodium_base64_encoded_len(clear.size(), alphabet));
    sodium_bin2base64(text.text(), text.size(), bytes(clear), clear.size(), alphabet);
    text.shorten(text.size() - 1);  // its NUL
    return text;
}

Secret decodeBase64(std::string_view text) {
    return decode(text, sodium_base64_VARIANT_ORIGINAL);
}

}  // namespace vxhost
