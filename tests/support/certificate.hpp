// A certificate for 127.0.0.1 and localhost, signed by itself, that only those trust who are told
// to: PEM files, made by openssl at first use and kept as long as the process.
#pragma once

#include <filesystem>

namespace support {

struct Certificate {
    std::filesystem::path file, key;
};

const Certificate& certificate();

}  // namespace support
