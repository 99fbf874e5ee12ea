#include "tests/support/certificates.hpp"

#include <string>

#include "tests/support/files.hpp"
#include "tests/support/process.hpp"
#include "tests/support/temporary_directory.hpp"

namespace support {
namespace {

constexpr auto configuration = R"([req]
distinguished_name = name
[name]
[authority]
basicConstraints = critical, CA:TRUE
subjectKeyIdentifier = hash
[server]
basicConstraints = critical, CA:FALSE
subjectAltName = IP:127.0.0.1, DNS:localhost
authorityKeyIdentifier = keyid
)";

Certificates make(const TemporaryDirectory& directory) {
    auto file = [&](const char* name) { return (directory / name).string(); };
    writeFile(file("openssl.cnf"), configuration);
    auto issue = [&](const std::string& who, std::vector<std::string> more) {
        std::vector<std::string> arguments{"openssl",
                                           "req",
                                           "-x509",
                                           "-config",
                                           file("openssl.cnf"),
                                           "-extensions",
                                           who,
                                           "-newkey",
                                           "ec",
                                           "-pkeyopt",
                                           "ec_paramgen_curve:prime256v1",
                                           "-nodes",
                                           "-days",
                                           "2",
                                           "-subj",
                                           "/CN=quillon test " + who,
                                           "-keyout",
                                           file((who + ".key").c_str()),
                                           "-out",
                                           file((who + ".pem").c_str())};
        arguments.insert(arguments.end(), more.begin(), more.end());
        runChecked({.arguments = std::move(arguments)});
    };
    issue("authority", {});
    issue("server", {"-CA", file("authority.pem"), "-CAkey", file("authority.key")});
    return {file("authority.pem"), file("server.pem"), file("server.key")};
}

}  // namespace

const Certificates& certificates() {
    static const TemporaryDirectory directory;
    static const Certificates made = make(directory);
    return made;
}

}  // namespace support
