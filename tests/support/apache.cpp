#include "tests/support/apache.hpp"

#include <algorithm>
#include <sstream>

#include "tests/support/certificates.hpp"
#include "tests/support/files.hpp"
#include "tests/support/http_probe.hpp"

namespace support {
namespace {

// The modules of a usual installation, and those of mod_dav.
constexpr auto modules = {
    "mpm_event",   "authn_core", "authn_file",    "authz_core", "authz_user", "auth_basic",
    "auth_digest", "mime",       "dir",           "autoindex",  "alias",      "headers",
    "setenvif",    "env",        "rewrite",       "filter",     "deflate",    "allowmethods",
    "reqtimeout",  "status",     "socache_shmcb", "ssl",        "dav",        "dav_fs"};

// The spare port only tells what is in work.
constexpr auto general = R"(
ServerRoot "{home}"
PidFile "{home}/pid"
DefaultRuntimeDir "{home}"
Mutex "file:{home}"
?User {user}
?Group {user}
Listen 127.0.0.1:{port}
Listen 127.0.0.1:{spare}
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
ErrorLog "{log}"
TypesConfig /dev/null
AddType text/plain .txt
AddType text/csv .csv
ExtendedStatus On
DavLockDB "{home}/state/locks"
<VirtualHost 127.0.0.1:{spare}>
<Location />
SetHandler server-status
</Location>
</VirtualHost>
<VirtualHost 127.0.0.1:{port}>
DocumentRoot "{root}"
LogFormat "%r %>s %k" request
CustomLog "{home}/access" request
<Directory "{root}">
Dav On
Options Indexes FollowSymLinks
)";

constexpr auto withoutLocksLines = R"(
Header edit DAV ^1,2$ 1
Header edit* Allow ",(UN)?LOCK" ""
<Location />
AllowMethods GET HEAD POST OPTIONS PUT DELETE PROPFIND PROPPATCH MKCOL COPY MOVE
</Location>
)";

constexpr auto accountLines = R"(
AuthName quillon
AuthUserFile "{home}/users"
Require valid-user
)";

std::string openssl(std::vector<std::string> arguments, const std::string& input) {
    arguments.insert(arguments.begin(), "openssl");
    return runChecked({.arguments = std::move(arguments), .input = input});
}

}  // namespace

Apache::Apache(ApacheOptions options)
    : WebDavServer("Apache", options.documentRoot), options_(std::move(options)) {
    if (options_.tls) scheme_ = "https";
    writeUsers();
    start({"/usr/sbin/apache2", "-f", "{home}/conf", "-DFOREGROUND"}, "resuming normal operations",
          configuration());
}

std::string Apache::configuration() const {
    std::ostringstream out;
    for (const std::string name : modules)
        out << "LoadModule " << name << "_module /usr/lib/apache2/modules/mod_" << name << ".so\n";
    out << general << "LimitRequestBody " << options_.limitRequestBody << "\n";
    if (options_.authentication == Authentication::none)
        out << "Require all granted\n";
    else if (options_.authentication == Authentication::basic)
        out << "AuthType Basic" << accountLines;
    else
        out << "AuthType Digest\nAuthDigestProvider file" << accountLines;
    out << "</Directory>\n";
    if (options_.tls)
        out << "SSLEngine on\nSSLCertificateFile " << certificates().server
            << "\nSSLCertificateKeyFile " << certificates().serverKey << "\n";
    if (options_.withoutLocks) out << withoutLocksLines;
    out << "</VirtualHost>\n";
    return out.str();
}

void Apache::writeUsers() const {
    const auto& [user, password] = options_.account;
    std::string line = user + ":";
    if (options_.authentication == Authentication::digest) {
        line += "quillon:";
        line += openssl({"dgst", "-md5", "-r"}, line + password).substr(0, 32);
    } else {
        line += "{SHA}" + openssl({"base64"}, openssl({"dgst", "-sha1", "-binary"}, password));
    }
    writeFile(home("users"), line + "\n");
}

// The status request itself is the one worker that is always busy.
bool Apache::idle() const {
    auto reply = ask(spare_, "GET", "/?auto");
    return reply && reply->body.find("BusyWorkers: 1\n") != std::string::npos &&
           reply->body.find("ConnsAsyncWriting: 0\n") != std::string::npos;
}

std::vector<LoggedRequest> Apache::accessLog() const {
    eventually([this] { return idle(); }, std::chrono::seconds(2));
    std::vector<LoggedRequest> requests;
    std::istringstream in(readFile(home("access")));
    std::string method, target, protocol;
    int status = 0, nth = 0;
    while (in >> method >> target >> protocol >> status >> nth)
        requests.push_back({method, target, status, nth});
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
    writeFile(home("access"), "");
}

}  // namespace support
