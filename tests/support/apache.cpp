#include "tests/support/apache.hpp"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <iterator>
#include <sstream>
#include <stdexcept>

#include "tests/support/files.hpp"
#include "tests/support/http_probe.hpp"

namespace support {
namespace {

constexpr int portsToTry = 5;

std::string users(const ApacheOptions& options) {
    if (options.authentication == Authentication::none) return "";
    const auto& [user, password] = options.account;
    const auto shell = [](const char* script, const std::string& input) {
        return runChecked({.arguments = {"sh", "-c", script}, .input = input});
    };
    if (options.authentication == Authentication::digest) {
        const std::string known = user + ":quillon:";
        return known + shell("md5sum | cut -c-32", known + password);
    }
    return user + ":{SHA}" + shell("openssl dgst -sha1 -binary | openssl base64", password);
}

// Started by root, the server becomes another user, who must be able to change what is in it.
void handOver(const std::filesystem::path& folder) {
    if (geteuid() == 0) std::filesystem::permissions(folder, std::filesystem::perms::all);
}

}  // namespace

Apache::Apache(ApacheOptions options) : options_(std::move(options)) {
    std::filesystem::path& root = options_.documentRoot;
    root = root.empty() ? home_ / "members" : std::filesystem::absolute(root);
    for (const auto& folder : {home_ / "state", root}) {
        std::filesystem::create_directory(folder);
        handOver(folder);
    }
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root))
        if (entry.is_directory()) handOver(entry);
    writeFile(home_ / "users", users(options_));
    start();
}

void Apache::start() {
    for (int attempt = 1;; ++attempt) {
        port_ = freePort();
        statusPort_ = freePort();
        process_ = std::make_unique<RunningProcess>(Command{commandLine()});
        const auto isReady = [&] { return log().find("resuming normal") != std::string::npos; };
        eventually([&] { return isReady() || !process_->running(); });
        if (isReady()) return;
        const std::string complaint = log() + process_->errors();
        if (attempt == portsToTry || complaint.find("already in use") == std::string::npos)
            throw std::runtime_error("Apache does not start: " + complaint);
    }
}

// Defines what the configuration wants to know.
std::vector<std::string> Apache::commandLine() const {
    std::vector<std::string> words{"/usr/sbin/apache2", "-f",
                                   SOURCE_DIR "/tests/data/servers/apache.conf", "-DFOREGROUND"};
    const auto define = [&](const std::string& name, const std::string& value) {
        words.insert(words.end(), {"-C", "Define " + name + " \"" + value + "\""});
    };
    define("home", home_.path());
    define("root", documentRoot());
    define("port", std::to_string(port_));
    define("statusPort", std::to_string(statusPort_));
    const bool open = options_.authentication == Authentication::none;
    define("who", open ? "all granted" : "valid-user");
    constexpr const char* schemes[] = {"-Dopen", "-Dbasic", "-Ddigest", "-Dnegotiate"};
    words.emplace_back(schemes[static_cast<size_t>(options_.authentication)]);
    define("keytab", options_.keytab);
    if (options_.isProxy) words.emplace_back("-Dproxy");
    if (options_.withoutLocks) words.emplace_back("-DwithoutLocks");
    if (options_.tagsOfSizes) words.emplace_back("-DtagsOfSizes");
    if (options_.http2) words.emplace_back("-Dhttp2");
    if (options_.tls) {
        words.emplace_back("-Dtls");
        const bool own = !options_.identity.file.empty();
        define("certificate", own ? options_.identity.file : certificate().file);
        define("key", own ? options_.identity.key : certificate().key);
        if (!options_.clientAuthority.empty()) define("clientAuthority", options_.clientAuthority);
    }
    return words;
}

Apache::~Apache() {
    process_->signal(SIGTERM);
    process_->wait(std::chrono::seconds(3));  // a connection still busy is then cut by force
    if (testing::UnitTest::GetInstance()->Failed())
        std::fprintf(stderr, "---- log of Apache ----\n%s----\n", log().c_str());
}

std::string Apache::url(std::string_view path) const {
    return localUrl(port_, path, options_.tls ? "https" : "http");
}

void Apache::addMember(std::string_view path, std::string_view content) const {
    writeFile(documentRoot() / path, content);
}

void Apache::addCollection(std::string_view path) const {
    std::filesystem::create_directory(documentRoot() / path);
    handOver(documentRoot() / path);
}

std::string Apache::log() const {
    return std::filesystem::exists(home_ / "log") ? readFile(home_ / "log") : "";
}

void Apache::waitUntilIdle() const {
    const auto idle = [this] {  // but for the one worker that says so
        const std::string reply = ask(statusPort_, "GET", "/?auto");
        return reply.find("BusyWorkers: 1\n") != std::string::npos &&
               reply.find("ConnsAsyncWriting: 0\n") != std::string::npos;
    };
    eventually(idle, std::chrono::seconds(2));
}

std::string Apache::transcript() const {
    waitUntilIdle();
    return readFile(home_ / "transcript");
}

int Apache::connections() const {
    waitUntilIdle();
    std::istringstream nths(readFile(home_ / "nth"));  // of its connection, each: 0 is the first
    return static_cast<int>(std::count(std::istream_iterator<int>(nths), {}, 0));
}

// The server appends: an emptied file goes on from its start.
void Apache::clearTranscript() const {
    waitUntilIdle();
    for (const char* name : {"transcript", "nth"}) writeFile(home_ / name, "");
}

}  // namespace support
