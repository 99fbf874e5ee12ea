// A certificate authority that nobody trusts, and a certificate from it for 127.0.0.1 and
// localhost: PEM files, made by openssl at first use and kept as long as the process.
#pragma once

#include <filesystem>

namespace support {

struct Certificates {
    std::filesystem::path authority;
    std::filesystem::path server;
    std::filesystem::path serverKey;
};

const Certificates& certificates();

}  // namespace support
