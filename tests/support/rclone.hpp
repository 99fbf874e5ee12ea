// A private "rclone serve webdav".
#pragma once

#include "tests/support/web_dav_server.hpp"

namespace support {

class Rclone : public WebDavServer {
public:
    explicit Rclone(const std::filesystem::path& documentRoot = {});
};

}  // namespace support
