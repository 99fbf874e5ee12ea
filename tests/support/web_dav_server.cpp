#include "tests/support/web_dav_server.hpp"

#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <boost/algorithm/string/replace.hpp>
#include <cstdio>
#include <stdexcept>

#include "tests/support/files.hpp"
#include "tests/support/http_probe.hpp"

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

WebDavServer::WebDavServer(ServerRecipe recipe, const std::filesystem::path& documentRoot)
    : recipe_(std::move(recipe)),
      documentRoot_(documentRoot.empty() ? home("members")
                                         : std::filesystem::absolute(documentRoot)) {
    for (const auto& folder : {home("log"), home("state"), documentRoot_}) {
        std::filesystem::create_directory(folder);
        handOver(folder);
    }
    for (const auto& entry : std::filesystem::recursive_directory_iterator(documentRoot_))
        handOver(entry.path());
    start();
}

WebDavServer::~WebDavServer() {
    process_->signal(SIGTERM);
    process_->wait(std::chrono::seconds(3));  // a connection still busy is then cut by force
    if (testing::UnitTest::GetInstance()->Failed())
        std::fprintf(stderr, "---- log of %s ----\n%s----\n", name().c_str(), log().c_str());
}

std::string WebDavServer::url(std::string_view path) const {
    return localUrl(port_, path, recipe_.scheme);
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

void WebDavServer::start() {
    std::string complaint;
    for (int attempt = 0; attempt < portsToTry; ++attempt) {
        port_ = freePort();
        spare_ = freePort();
        for (const auto& [name, text] : recipe_.files) writeFile(home(name), filled(text));
        Command command;
        for (const auto& word : recipe_.arguments) command.arguments.push_back(filled(word));
        process_ = std::make_unique<RunningProcess>(command);
        const auto isReady = [&] { return log().find(recipe_.ready) != std::string::npos; };
        eventually([&] { return isReady() || !process_->running(); });
        if (isReady() && process_->running()) return;
        complaint = log() + process_->output() + process_->errors();
        std::filesystem::remove(home("log/error"));
        if (complaint.find("ddress already in use") == std::string::npos) break;
    }
    throw std::runtime_error(name() + " does not start: " + complaint);
}

}  // namespace support
