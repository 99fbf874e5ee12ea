// A certificate for 127.0.0.1 and localhost, signed by itself, that only those trust who are told
// to: PEM files, made by openssl at first use and kept as long as the process.
#pragma once

#include <filesystem>
#include <string>

namespace support {

struct Certificate {
    std::filesystem::path file, key;
};

const Certificate& certificate();

// Another one of that kind, FOLDER/NAME.pem and FOLDER/NAME.key.
Certificate makeCertificate(const std::filesystem::path& folder, const std::string& name);

}  // namespace support
