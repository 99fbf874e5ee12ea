#include "platform/files/random_name.hpp"

#include <sys/random.h>

#include <array>
#include <cerrno>

#include "platform/base/system_failure.hpp"

namespace vxhost {

std::string randomName() {
    std::array<unsigned char, 16> bytes;  // so few come whole, or not at all
    while (getrandom(bytes.data(), bytes.size(), 0) < 0) {
        if (errno != EINTR) throwSystemFailure(errno, "random numbers");
    }
    std::string name;
    for (const unsigned char byte : bytes) {
        name += "0123456789abcdef"[byte >> 4];
        name += "0123456789abcdef"[byte & 15];
    }
    return name;
}

}  // namespace vxhost
