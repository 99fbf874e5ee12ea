#include "tests/support/web_dav_server.hpp"

#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <cstdio>
#include <stdexcept>

#include "tests/support/files.hpp"
#include "tests/support/http_probe.hpp"
#include "tests/support/socket.hpp"

namespace support {
namespace {

constexpr auto unprivileged = "www-data";
constexpr int portsToTry = 5;

// A server started by root drops to another user, who must own what it changes.
void handOver(const std::filesystem::path& path) {
    if (geteuid() != 0) return;
    const passwd* user = getpwnam(unprivileged);
    if (!user || lchown(path.c_str(), user->pw_uid, user->pw_gid) != 0)
        throw std::runtime_error("cannot hand over " + path.string());
}

bool portTaken(const std::string& complaint) {
    return complaint.find("ddress already in use") != std::string::npos;
}

}  // namespace

WebDavServer::WebDavServer(std::string name, const std::filesystem::path& documentRoot)
    : name_(std::move(name)),
      documentRoot_(documentRoot.empty() ? writableFolder("members") : documentRoot) {
    writableFolder("log");
    handOver(documentRoot_);
    for (const auto& entry : std::filesystem::recursive_directory_iterator(documentRoot_))
        handOver(entry.path());
}

WebDavServer::~WebDavServer() {
    stop();
    if (testing::UnitTest::GetInstance()->Failed())
        std::fprintf(stderr, "---- log of %s ----\n%s----\n", name_.c_str(), errorLog().c_str());
}

std::string WebDavServer::url(std::string_view path) const {
    return scheme_ + "://127.0.0.1:" + std::to_string(port_) + "/" + std::string(path);
}

void WebDavServer::addMember(std::string_view path, std::string_view content) const {
    writeFile(documentRoot_ / path, content);
    handOver(documentRoot_ / path);
}

void WebDavServer::addCollection(std::string_view path) const {
    std::filesystem::create_directory(documentRoot_ / path);
    handOver(documentRoot_ / path);
}

std::string WebDavServer::errorLog() const {
    return std::filesystem::exists(errorLogFile()) ? readFile(errorLogFile()) : "";
}

void WebDavServer::start(const std::function<Command(uint16_t port)>& launch,
                         std::string_view ready) {
    std::string complaint;
    for (int attempt = 0; attempt < portsToTry; ++attempt) {
        port_ = freePort();
        process_ = std::make_unique<RunningProcess>(launch(port_));
        auto isReady = [&] { return errorLog().find(ready) != std::string::npos; };
        eventually([&] { return isReady() || !process_->running(); });
        if (isReady() && process_->running()) return;
        complaint = errorLog() + process_->output() + process_->errors();
        std::filesystem::remove(errorLogFile());
        if (!portTaken(complaint)) break;
    }
    throw std::runtime_error(name_ + " does not start: " + complaint);
}

void WebDavServer::stop() {
    if (!process_) return;
    process_->signal(SIGTERM);
    process_->wait(std::chrono::seconds(3));  // a connection still busy is then cut by force
    process_.reset();
}

std::string WebDavServer::serverUser() {
    return geteuid() == 0 ? unprivileged : "";
}

std::filesystem::path WebDavServer::writableFolder(std::string_view name) const {
    auto folder = home_ / name;
    std::filesystem::create_directory(folder);
    handOver(folder);
    return folder;
}

}  // namespace support
