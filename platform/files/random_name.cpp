#include "platform/files/random_name.hpp"

#include <sodium.h>

#include <array>

namespace vxhost {

namespace {

using NameBytes = std::array<unsigned char, 16>;

std::string hexadecimal(const NameBytes& bytes) {
    std::string name(2 * bytes.size() + 1, '\0');
    sodium_bin2hex(name.data(), name.size(), bytes.data(), bytes.size());
    name.pop_back();
    return name;
}

}  // namespace

std::string randomName() {
    NameBytes bytes;
    randombytes_buf(bytes.data(), bytes.size());
    return hexadecimal(bytes);
}

std::string digestName(std::string_view text) {
    NameBytes bytes;
    crypto_generichash(bytes.data(), bytes.size(),
                       reinterpret_cast<const unsigned char*>(text.data()), text.size(), nullptr,
                       0);
    return hexadecimal(bytes);
}

}  // namespace vxhost
