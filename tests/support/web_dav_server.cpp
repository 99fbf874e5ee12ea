#include "tests/support/web_dav_server.hpp"

#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <boost/algorithm/string/replace.hpp>
#include <cstdio>
#include <stdexcept>

#include "tests/support/files.hpp"
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

}  // namespace

WebDavServer::WebDavServer(std::string name, const std::filesystem::path& documentRoot)
    : name_(std::move(name)),
      documentRoot_(documentRoot.empty() ? home_ / "members" : documentRoot) {
    for (const auto& folder : {home("log"), home("state"), documentRoot_}) {
        std::filesystem::create_directory(folder);
        handOver(folder);
    }
    for (const auto& entry : std::filesystem::recursive_directory_iterator(documentRoot_))
        handOver(entry.path());
}

WebDavServer::~WebDavServer() {
    if (process_) {
        process_->signal(SIGTERM);
        process_->wait(std::chrono::seconds(3));  // a connection still busy is then cut by force
    }
    if (testing::UnitTest::GetInstance()->Failed())
        std::fprintf(stderr, "---- log of %s ----\n%s----\n", name_.c_str(), log().c_str());
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

std::string WebDavServer::log() const {
    return std::filesystem::exists(home("log/error")) ? readFile(home("log/error")) : "";
}

std::string WebDavServer::filled(std::string text) const {
    const std::pair<const char*, std::string> values[] = {{"{home}", home_.path()},
                                                          {"{root}", documentRoot_},
                                                          {"{log}", home("log/error")},
                                                          {"{port}", std::to_string(port_)},
                                                          {"{spare}", std::to_string(spare_)},
                                                          {"{user}", unprivileged},
                                                          {"\n?", geteuid() == 0 ? "\n" : "\n#"}};
    for (const auto& [name, value] : values) boost::replace_all(text, name, value);
    return text;
}

void WebDavServer::start(const std::vector<std::string>& arguments, std::string_view ready,
                         const std::string& configuration) {
    std::string complaint;
    for (int attempt = 0; attempt < portsToTry; ++attempt) {
        port_ = freePort();
        spare_ = freePort();
        writeFile(home("conf"), filled(configuration));
        Command command;
        for (const auto& argument : arguments) command.arguments.push_back(filled(argument));
        process_ = std::make_unique<RunningProcess>(command);
        auto isReady = [&] { return log().find(ready) != std::string::npos; };
        eventually([&] { return isReady() || !process_->running(); });
        if (isReady() && process_->running()) return;
        complaint = log() + process_->output() + process_->errors();
        std::filesystem::remove(home("log/error"));
        if (complaint.find("ddress already in use") == std::string::npos) break;
    }
    throw std::runtime_error(name_ + " does not start: " + complaint);
}

}  // namespace support
