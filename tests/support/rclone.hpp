// A private "rclone serve webdav".
#pragma once

#include "tests/support/web_dav_server.hpp"

namespace support {

class Rclone : public WebDavServer {
public:
    explicit Rclone(const std::filesystem::path& documentRoot = {})
        : WebDavServer("rclone", documentRoot) {
        // Members that a test makes in the folder are to be seen at once.
        start({"rclone", "serve", "webdav", "{root}", "--addr", "127.0.0.1:{port}", "--config",
               "{home}/conf", "--cache-dir", "{home}/state", "--dir-cache-time", "0s", "--log-file",
               "{log}"},
              "WebDav Server started");
    }
};

}  // namespace support
