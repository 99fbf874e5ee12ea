// A directory that is removed, with all that is in it, at the end of its scope.
#pragma once

#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>

namespace support {

class TemporaryDirectory {
public:
    // Mode 0755, so that a server that gave up root can enter it. Throws when it cannot be made.
    TemporaryDirectory() {
        std::string name = std::filesystem::temp_directory_path() / "quillon-test-XXXXXX";
        if (!mkdtemp(name.data())) throw std::system_error(errno, std::generic_category(), name);
        chmod(name.c_str(), 0755);
        path_ = name;
    }
    ~TemporaryDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    const std::filesystem::path& path() const { return path_; }
    std::filesystem::path operator/(std::string_view name) const { return path_ / name; }

private:
    std::filesystem::path path_;
};

}  // namespace support
