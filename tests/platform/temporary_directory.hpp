// A directory of the test's own, deleted with it.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

class TemporaryDirectory {
public:
    TemporaryDirectory() {
        std::string pattern = testing::TempDir() + "vxhost-XXXXXX";
        path = mkdtemp(pattern.data());
    }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
    ~TemporaryDirectory() { std::filesystem::remove_all(path); }

    std::filesystem::path path;
};

inline std::string contents(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

inline unsigned mode(const std::filesystem::path& path) {
    return static_cast<unsigned>(std::filesystem::symlink_status(path).permissions());
}
