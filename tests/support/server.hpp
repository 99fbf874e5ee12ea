// A WebDAV server of a test's own on 127.0.0.1, whichever it is.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

#include "tests/support/http_probe.hpp"

namespace support {

class Server {
public:
    Server() = default;
    virtual ~Server() = default;
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    uint16_t port() const { return port_; }
    virtual std::string url(std::string_view path = {}) const { return localUrl(port_, path); }

    // Where the members are. A folder made here directly is not the server's own when root runs the
    // tests, so that it may refuse to change it: use addCollection().
    virtual const std::filesystem::path& documentRoot() const = 0;
    virtual void addCollection(std::string_view path) const {
        std::filesystem::create_directory(documentRoot() / path);
    }

    // Whether it bears that somebody changes a file's date past it.
    virtual bool bearsOtherDates() const { return true; }

    virtual void waitUntilIdle() const {}  // no request is in work, where the server tells that

protected:
    uint16_t port_ = 0;
};

}  // namespace support
