#include "tests/support/rclone.hpp"

namespace support {

Rclone::Rclone(const std::filesystem::path& documentRoot) : WebDavServer("rclone", documentRoot) {
    auto launch = [&](uint16_t port) {
        // Members that a test makes in the folder are to be seen at once.
        return Command{{"rclone", "serve", "webdav", this->documentRoot(), "--addr",
                        "127.0.0.1:" + std::to_string(port), "--config", home("rclone.conf"),
                        "--cache-dir", home("cache"), "--dir-cache-time", "0s", "--log-file",
                        errorLogFile()}};
    };
    start(launch, "WebDav Server started");
}

}  // namespace support
