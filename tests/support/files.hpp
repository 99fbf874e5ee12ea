// Whole files in and out of memory. A file that cannot be opened throws.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

namespace support {

inline std::string readFile(const std::filesystem::path& path) {
    std::ifstream in;
    in.exceptions(std::ios::badbit | std::ios::failbit);
    in.open(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

inline void writeFile(const std::filesystem::path& path, std::string_view content) {
    std::ofstream out;
    out.exceptions(std::ios::badbit | std::ios::failbit);
    out.open(path, std::ios::binary);
    out.write(content.data(), static_cast<std::streamsize>(content.size()));
}

// The permission bits of what is there; a link's own.
inline unsigned modeOf(const std::filesystem::path& path) {
    return static_cast<unsigned>(std::filesystem::symlink_status(path).permissions());
}

}  // namespace support
