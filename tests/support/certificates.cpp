#include "tests/support/certificates.hpp"

#include "tests/support/process.hpp"
#include "tests/support/temporary_directory.hpp"

namespace support {
namespace {

constexpr auto script = R"(
cat >openssl.cnf <<end
[req]
distinguished_name = name
[name]
[authority]
basicConstraints = critical, CA:TRUE
subjectKeyIdentifier = hash
[server]
basicConstraints = critical, CA:FALSE
subjectAltName = IP:127.0.0.1, DNS:localhost
authorityKeyIdentifier = keyid
end
issue() {
    who=$1
    shift
    openssl req -x509 -config openssl.cnf -extensions $who -subj "/CN=quillon test $who" -days 2 \
        -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -keyout $who.key -out $who.pem "$@"
}
issue authority
issue server -CA authority.pem -CAkey authority.key
)";

}  // namespace

const Certificates& certificates() {
    static const TemporaryDirectory made;
    static const std::string output =
        runChecked({.arguments = {"sh", "-ec", script}, .directory = made.path()});
    static const Certificates files{made / "authority.pem", made / "server.pem",
                                    made / "server.key"};
    return files;
}

}  // namespace support
