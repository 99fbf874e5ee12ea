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

// How to start one. In the arguments and files stand {home}, {root} (of the members), {log},
// {port}, {spare} (another port) and {user}, whom root becomes; it may write below {home}/state.
struct ServerRecipe {
    std::string name;
    std::vector<std::string> arguments;
    std::string ready;  // what its log then holds
    std::map<std::string, std::string>
        files{};  // in {home}; lines that begin with "?" are for root
    std::string scheme = "http";
};

class WebDavServer {
public:
    ~WebDavServer();
    WebDavServer(const WebDavServer&) = delete;
    WebDavServer& operator=(const WebDavServer&) = delete;

    const std::string& name() const { return recipe_.name; }
    uint16_t port() const { return port_; }
    std::string url(std::string_view path = {}) const;  // as of localUrl()

    // Where the members are. Files made here directly are not the server's own when root runs the
    // tests, so that it may refuse to change them: use the two functions below.
    const std::filesystem::path& documentRoot() const { return documentRoot_; }
    void addMember(std::string_view path, std::string_view content) const;
    void addCollection(std::string_view path) const;

protected:
    // Starts the program, with another port while one is taken. Throws with the log when it ends
    // before it is ready. An empty document root: one of its own.
    WebDavServer(ServerRecipe recipe, const std::filesystem::path& documentRoot);

    std::filesystem::path home(std::string_view name) const { return home_ / name; }
    uint16_t spare() const { return spare_; }

private:
    void start();
    std::string filled(std::string text) const;
    std::string log() const;

    ServerRecipe recipe_;
    TemporaryDirectory home_;
    std::filesystem::path documentRoot_;
    uint16_t port_ = 0, spare_ = 0;
    std::unique_ptr<RunningProcess> process_;
};

struct Lighttpd : WebDavServer {  // mod_webdav, with locks
    explicit Lighttpd(const std::filesystem::path& documentRoot = {});
};

struct Nginx : WebDavServer {  // dav and dav-ext
    explicit Nginx(const std::filesystem::path& documentRoot = {});
    static bool installed();
};

struct Rclone : WebDavServer {  // serve webdav
    explicit Rclone(const std::filesystem::path& documentRoot = {});
};

}  // namespace support
