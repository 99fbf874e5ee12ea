// A private nginx with the dav and dav-ext modules.
#pragma once

#include "tests/support/web_dav_server.hpp"

namespace support {

class Nginx : public WebDavServer {
public:
    static bool installed();  // both the server and the dav-ext module
    explicit Nginx(const std::filesystem::path& documentRoot = {});
};

}  // namespace support
