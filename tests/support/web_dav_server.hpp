// What the real servers have in common: a process of their own on a free port of 127.0.0.1, with
// configuration, logs and members in a temporary folder. The log is printed at the end when a test
// of the program failed.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

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

protected:
    // An empty document root: one of its own.
    WebDavServer(std::string name, const std::filesystem::path& documentRoot);

    // Starts the program, with another port while one is taken, until its log holds `ready`. Throws
    // with the log when it ends before. In the arguments and in the configuration, which is put in
    // {home}/conf, stand {home}, {root} (of the members), {log}, {port}, {spare} (another port) and
    // {user}, whom root becomes; the server may write below {home}/state. Lines that begin with "?"
    // are for root alone.
    void start(const std::vector<std::string>& arguments, std::string_view ready,
               const std::string& configuration = {});

    std::filesystem::path home(std::string_view name) const { return home_ / name; }

    std::string scheme_ = "http";
    uint16_t spare_ = 0;

private:
    std::string filled(std::string text) const;
    std::string log() const;

    std::string name_;
    TemporaryDirectory home_;
    std::filesystem::path documentRoot_;
    uint16_t port_ = 0;
    std::unique_ptr<RunningProcess> process_;
};

}  // namespace support
