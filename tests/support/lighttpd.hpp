// A private lighttpd with mod_webdav, locks included.
#pragma once

#include "tests/support/web_dav_server.hpp"

namespace support {

class Lighttpd : public WebDavServer {
public:
    explicit Lighttpd(const std::filesystem::path& documentRoot = {});
};

}  // namespace support
