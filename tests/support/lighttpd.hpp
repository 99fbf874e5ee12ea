// A private lighttpd with mod_webdav, locks included.
#pragma once

#include "tests/support/web_dav_server.hpp"

namespace support {

class Lighttpd : public WebDavServer {
public:
    explicit Lighttpd(const std::filesystem::path& documentRoot = {})
        : WebDavServer("lighttpd", documentRoot) {
        start({"/usr/sbin/lighttpd", "-D", "-f", "{home}/conf"}, "server started", R"(
server.modules = ("mod_webdav")
server.bind = "127.0.0.1"
server.port = {port}
server.document-root = "{root}"
server.errorlog = "{log}"
server.upload-dirs = ("{home}/state")
webdav.activate = "enable"
webdav.sqlite-db-name = "{home}/state/webdav.db"
mimetype.assign = (".txt" => "text/plain")
?server.username = "{user}"
?server.groupname = "{user}"
)");
    }
};

}  // namespace support
