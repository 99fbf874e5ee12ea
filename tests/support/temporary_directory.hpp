// A directory that is removed, with all that is in it, at the end of its scope.
#pragma once

#include <filesystem>
#include <string_view>

namespace support {

class TemporaryDirectory {
public:
    // Mode 0755, so that a server that gave up root can enter it. Throws when it cannot be made.
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    const std::filesystem::path& path() const { return path_; }
    std::filesystem::path operator/(std::string_view name) const { return path_ / name; }

private:
    std::filesystem::path path_;
};

}  // namespace support
