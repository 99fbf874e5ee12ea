// What the real servers have in common: a process of their own on a free port of 127.0.0.1, with
// configuration, logs and members in a temporary folder. The log is printed at the end when a test
// of the program failed.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "tests/support/process.hpp"
#include "tests/support/temporary_directory.hpp"

namespace support {

struct Account {
    std::string user = "demo";
    std::string password = "open sesame: 100%";
};

class WebDavServer {
public:
    virtual ~WebDavServer();
    WebDavServer(const WebDavServer&) = delete;
    WebDavServer& operator=(const WebDavServer&) = delete;

    const std::string& name() const { return name_; }
    uint16_t port() const { return port_; }

    // path: percent-encoded, relative to the root collection.
    std::string url(std::string_view path = {}) const;

    // Where the members are. Files made here directly are not the server's own when root runs the
    // tests, so that it may refuse to change them: use the two functions below.
    const std::filesystem::path& documentRoot() const { return documentRoot_; }
    void addMember(std::string_view path, std::string_view content) const;
    void addCollection(std::string_view path) const;

    std::string errorLog() const;

protected:
    // An empty document root: one of its own.
    WebDavServer(std::string name, const std::filesystem::path& documentRoot);

    // Starts what `launch` gives for a port, with another port while that one is taken, until
    // the error log holds `ready`. Throws with the log when it ends before.
    void start(const std::function<Command(uint16_t port)>& launch, std::string_view ready);

    // For servers whose own configuration names an account to drop to: root's choice, else empty.
    static std::string serverUser();
    std::filesystem::path home(std::string_view name) const { return home_ / name; }
    std::filesystem::path errorLogFile() const { return home_ / "log/error.log"; }
    // A folder in which the server may write.
    std::filesystem::path writableFolder(std::string_view name) const;

    std::string scheme_ = "http";

private:
    void stop();

    std::string name_;
    TemporaryDirectory home_;
    std::filesystem::path documentRoot_;
    uint16_t port_ = 0;
    std::unique_ptr<RunningProcess> process_;
};

}  // namespace support
