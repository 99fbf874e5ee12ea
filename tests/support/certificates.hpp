// A certificate for 127.0.0.1 and localhost that only those trust who are told to: PEM files, made
// by openssl at first use and kept as long as the process.
#pragma once

#include <filesystem>

namespace support {

struct Certificates {
    std::filesystem::path authority;  // signed by itself, the certificate is its own
    std::filesystem::path server;
    std::filesystem::path serverKey;
};

const Certificates& certificates();

}  // namespace support
