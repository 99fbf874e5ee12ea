#include "platform/files/random_name.hpp"

#include <sodium.h>

#include <array>

namespace vxhost {

std::string randomName() {
    std::array<unsigned char, 16> bytes;
    randombytes_buf(bytes.data(), bytes.size());
    std::string name(2 * bytes.size() + 1, '\0');
    sodium_bin2hex(name.data(), name.size(), bytes.data(), bytes.size());
    name.pop_back();
    return name;
}

}  // namespace vxhost
