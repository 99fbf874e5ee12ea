#include "tests/support/apache.hpp"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <iterator>
#include <sstream>
#include <stdexcept>

#include "tests/support/certificate.hpp"
#include "tests/support/files.hpp"
#include "tests/support/http_probe.hpp"

namespace support {
namespace {

constexpr int portsToTry = 5;

constexpr auto modules = {"mpm_event",     "authn_core", "authn_file",   "authz_core",
                          "authz_user",    "auth_basic", "auth_digest",  "dir",
                          "autoindex",     "headers",    "allowmethods", "status",
                          "socache_shmcb", "ssl",        "dav",          "dav_fs"};

// The status port only tells what is in work. Locks must not be taken at the same time: where
// apr-util keeps DavLockDB in a Berkeley DB, as in Debian, nothing keeps its writers apart, and it
// is soon corrupt.
constexpr auto general = R"(
ServerRoot "{home}"
PidFile "{home}/pid"
DefaultRuntimeDir "{home}"
Mutex "file:{home}"
User www-data
Group www-data
Listen 127.0.0.1:{port}
Listen 127.0.0.1:{statusPort}
ServerName 127.0.0.1
ServerLimit 1
StartServers 1
ThreadsPerChild 64
MaxRequestWorkers 64
KeepAliveTimeout 60
MaxKeepAliveRequests 0
LogLevel notice
ErrorLog "{home}/log"
ExtendedStatus On
DavLockDB "{home}/state/locks"
<VirtualHost 127.0.0.1:{statusPort}>
<Location />
SetHandler server-status
</Location>
</VirtualHost>
<VirtualHost 127.0.0.1:{port}>
DocumentRoot "{root}"
CustomLog "{home}/transcript" "%m %U %>s"
CustomLog "{home}/nth" "%k"
<Directory "{root}">
Dav On
Options Indexes FollowSymLinks
AuthName quillon
AuthUserFile "{home}/users"
)";

constexpr auto withoutLocksLines = R"(
Header edit DAV ^1,2$ 1
Header edit* Allow ",(UN)?LOCK" ""
<Location />
AllowMethods GET HEAD POST OPTIONS PUT DELETE PROPFIND PROPPATCH MKCOL COPY MOVE
</Location>
)";

std::string configuration(const ApacheOptions& options) {
    std::ostringstream out;
    for (const std::string name : modules)
        out << "LoadModule " << name << "_module /usr/lib/apache2/modules/mod_" << name << ".so\n";
    out << general;
    if (options.authentication == Authentication::basic) out << "AuthType Basic\n";
    if (options.authentication == Authentication::digest)
        out << "AuthType Digest\nAuthDigestProvider file\n";
    const bool open = options.authentication == Authentication::none;
    out << (open ? "Require all granted" : "Require valid-user") << "\n</Directory>\n";
    if (options.tls)
        out << "SSLEngine on\nSSLCertificateFile " << certificate().file
            << "\nSSLCertificateKeyFile " << certificate().key << "\n";
    if (options.withoutLocks) out << withoutLocksLines;
    out << "</VirtualHost>\n";
    return out.str();
}

std::string users(const ApacheOptions& options) {
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
        writeFile(home_ / "conf",
                  fmt::format(fmt::runtime(configuration(options_)),
                              fmt::arg("home", home_.path().string()),
                              fmt::arg("root", documentRoot().string()), fmt::arg("port", port_),
                              fmt::arg("statusPort", statusPort_)));
        process_ = std::make_unique<RunningProcess>(
            Command{{"/usr/sbin/apache2", "-f", home_ / "conf", "-DFOREGROUND"}});
        const auto isReady = [&] { return log().find("resuming normal") != std::string::npos; };
        eventually([&] { return isReady() || !process_->running(); });
        if (isReady()) return;
        const std::string complaint = log() + process_->errors();
        if (attempt == portsToTry || complaint.find("already in use") == std::string::npos)
            throw std::runtime_error("Apache does not start: " + complaint);
    }
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
        const auto reply = ask(statusPort_, "GET", "/?auto");
        return reply && reply->body.find("BusyWorkers: 1\n") != std::string::npos &&
               reply->body.find("ConnsAsyncWriting: 0\n") != std::string::npos;
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
