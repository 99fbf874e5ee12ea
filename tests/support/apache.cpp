#include "tests/support/apache.hpp"

#include <algorithm>
#include <sstream>

#include "tests/support/certificates.hpp"
#include "tests/support/files.hpp"
#include "tests/support/http_probe.hpp"

namespace support {
namespace {

constexpr auto modules = {"mpm_event",  "authn_core",   "authn_file", "authz_core",    "authz_user",
                          "auth_basic", "auth_digest",  "mime",       "dir",           "autoindex",
                          "headers",    "allowmethods", "status",     "socache_shmcb", "ssl",
                          "dav",        "dav_fs"};

// The spare port only tells what is in work. Locks must not be taken at the same time: where
// apr-util keeps DavLockDB in a Berkeley DB, as in Debian, nothing keeps its writers apart, and it
// is soon corrupt.
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
        out << "SSLEngine on\nSSLCertificateFile " << certificates().server
            << "\nSSLCertificateKeyFile " << certificates().serverKey << "\n";
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

}  // namespace

Apache::Apache(ApacheOptions options)
    : WebDavServer({.name = "Apache",
                    .arguments = {"/usr/sbin/apache2", "-f", "{home}/conf", "-DFOREGROUND"},
                    .ready = "resuming normal operations",
                    .files = {{"conf", configuration(options)}, {"users", users(options)}},
                    .scheme = options.tls ? "https" : "http"},
                   options.documentRoot),
      options_(std::move(options)) {}

std::vector<LoggedRequest> Apache::accessLog() const {
    const auto idle = [this] {  // but for the one worker that says so
        const auto reply = ask(spare(), "GET", "/?auto");
        return reply && reply->body.find("BusyWorkers: 1\n") != std::string::npos &&
               reply->body.find("ConnsAsyncWriting: 0\n") != std::string::npos;
    };
    eventually(idle, std::chrono::seconds(2));
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
    return static_cast<int>(std::ranges::count(accessLog(), 0, &LoggedRequest::nthOfConnection));
}

// The server appends: an emptied file goes on from its start.
void Apache::clearAccessLog() const {
    accessLog();
    writeFile(home("access"), "");
}

}  // namespace support
