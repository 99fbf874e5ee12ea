#include "tests/support/apache.hpp"

#include <algorithm>
#include <sstream>

#include "tests/support/certificates.hpp"
#include "tests/support/files.hpp"
#include "tests/support/http_probe.hpp"
#include "tests/support/socket.hpp"

namespace support {
namespace {

constexpr auto realm = "quillon";
constexpr auto program = "/usr/sbin/apache2";

// The modules of a usual installation, and those of mod_dav.
constexpr auto modules = {
    "mpm_event",   "authn_core", "authn_file",    "authz_core", "authz_user", "auth_basic",
    "auth_digest", "mime",       "dir",           "autoindex",  "alias",      "headers",
    "setenvif",    "env",        "rewrite",       "filter",     "deflate",    "allowmethods",
    "reqtimeout",  "status",     "socache_shmcb", "ssl",        "dav",        "dav_fs"};

constexpr auto general = R"(
ServerName 127.0.0.1
ServerLimit 1
StartServers 1
ThreadsPerChild 64
MinSpareThreads 1
MaxSpareThreads 64
MaxRequestWorkers 64
KeepAlive On
KeepAliveTimeout 60
MaxKeepAliveRequests 0
LogLevel notice
TypesConfig /dev/null
AddType text/plain .txt
AddType text/csv .csv
ExtendedStatus On
LogFormat "%m\t%r\t%>s\t%k\t%I\t%O" request
)";

constexpr auto withoutLocksLines = R"(
Header edit DAV ^1,2$ 1
Header edit* Allow ",(UN)?LOCK" ""
<Location />
AllowMethods GET HEAD POST OPTIONS PUT DELETE PROPFIND PROPPATCH MKCOL COPY MOVE
</Location>
)";

std::string openssl(std::vector<std::string> arguments, const std::string& input) {
    arguments.insert(arguments.begin(), "openssl");
    return runChecked({.arguments = std::move(arguments), .input = input});
}

// LoggedRequest of a line of LogFormat.
LoggedRequest parseLine(const std::string& line) {
    std::vector<std::string> fields;
    std::istringstream in(line);
    for (std::string field; std::getline(in, field, '\t');) fields.push_back(field);
    fields.resize(6);
    std::string target = fields[1];
    target = target.substr(std::min(target.find(' ') + 1, target.size()));
    target = target.substr(0, target.rfind(' '));
    return {fields[0],
            target,
            std::stoi(fields[2]),
            std::stoi(fields[3]),
            std::stoull(fields[4]),
            std::stoull(fields[5])};
}

}  // namespace

Apache::Apache(ApacheOptions options)
    : WebDavServer("Apache", options.documentRoot), options_(std::move(options)) {
    if (options_.tls) scheme_ = "https";
    writableFolder("locks");
    writeUsers();
    start([this](uint16_t port) { return command(port); }, "resuming normal operations");
}

Command Apache::command(uint16_t port) {
    statusPort_ = freePort();
    auto file = home("apache.conf");
    writeFile(file, configuration(port));
    return {.arguments = {program, "-f", file, "-DFOREGROUND"}};
}

std::string Apache::configuration(uint16_t port) const {
    std::ostringstream out;
    std::string host = "127.0.0.1:";
    out << "ServerRoot " << home(".") << "\nPidFile " << home("pid") << "\nDefaultRuntimeDir "
        << home(".") << "\nMutex file:" << home(".").string() << "\nListen " << host << port
        << "\nListen " << host << statusPort_ << "\nErrorLog " << errorLogFile() << "\n";
    for (const std::string name : modules)
        out << "LoadModule " << name << "_module /usr/lib/apache2/modules/mod_" << name << ".so\n";
    out << general << "DavLockDB " << home("locks") / "db"
        << "\n";
    if (!serverUser().empty()) out << "User " << serverUser() << "\nGroup " << serverUser() << "\n";
    out << "<VirtualHost " << host << statusPort_ << ">\n<Location />\nSetHandler server-status\n"
        << "</Location>\n</VirtualHost>\n<VirtualHost " << host << port << ">\nDocumentRoot "
        << documentRoot() << "\nCustomLog " << home("access.log") << " request\n<Directory "
        << documentRoot() << ">\nDav On\nOptions Indexes FollowSymLinks\nLimitRequestBody "
        << options_.limitRequestBody << "\n"
        << authenticationLines() << "</Directory>\n";
    if (options_.tls)
        out << "SSLEngine on\nSSLCertificateFile " << certificates().server
            << "\nSSLCertificateKeyFile " << certificates().serverKey << "\n";
    if (options_.withoutLocks) out << withoutLocksLines;
    out << "</VirtualHost>\n" << options_.extra << "\n";
    return out.str();
}

std::string Apache::authenticationLines() const {
    if (options_.authentication == Authentication::none) return "Require all granted\n";
    bool digest = options_.authentication == Authentication::digest;
    std::ostringstream out;
    out << (digest ? "AuthType Digest\nAuthDigestProvider file" : "AuthType Basic") << "\nAuthName "
        << realm << "\nAuthUserFile " << home("users") << "\nRequire valid-user\n";
    return out.str();
}

void Apache::writeUsers() const {
    const auto& [user, password] = options_.account;
    std::string line = user + ":";
    if (options_.authentication == Authentication::digest) {
        std::string hash = openssl({"dgst", "-md5", "-r"}, line + realm + ":" + password);
        line += std::string(realm) + ":" + hash.substr(0, 32);
    } else {
        line += "{SHA}" + openssl({"base64"}, openssl({"dgst", "-sha1", "-binary"}, password));
    }
    writeFile(home("users"), line + "\n");
}

// The status request itself is the one worker that is always busy.
bool Apache::idle() const {
    auto reply = ask(statusPort_, "GET", "/?auto");
    return reply && reply->body.find("BusyWorkers: 1\n") != std::string::npos &&
           reply->body.find("ConnsAsyncWriting: 0\n") != std::string::npos;
}

std::vector<LoggedRequest> Apache::accessLog() const {
    eventually([this] { return idle(); }, std::chrono::seconds(2));
    std::vector<LoggedRequest> requests;
    std::istringstream in(readFile(home("access.log")));
    for (std::string line; std::getline(in, line);) requests.push_back(parseLine(line));
    return requests;
}

std::string Apache::transcript() const {
    std::string text;
    for (const LoggedRequest& request : accessLog())
        text += request.method + " " + request.target + " " + std::to_string(request.status) + "\n";
    return text;
}

int Apache::connections() const {
    auto log = accessLog();
    return static_cast<int>(std::count_if(
        log.begin(), log.end(), [](const auto& request) { return request.nthOfConnection == 0; }));
}

// The server appends: an emptied file goes on from its start.
void Apache::clearAccessLog() const {
    accessLog();
    writeFile(home("access.log"), "");
}

}  // namespace support
