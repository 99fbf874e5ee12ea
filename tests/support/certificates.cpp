#include "tests/support/certificates.hpp"

#include "tests/support/process.hpp"
#include "tests/support/temporary_directory.hpp"

namespace support {

const Certificates& certificates() {
    static const TemporaryDirectory made;
    static const Certificates files{made / "pem", made / "pem", made / "key"};
    static const std::string output = runChecked(
        {.arguments = {"openssl", "req", "-x509", "-days", "2", "-subj", "/CN=quillon test",
                       "-addext", "subjectAltName=IP:127.0.0.1,DNS:localhost", "-newkey", "ec",
                       "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes", "-out", files.server,
                       "-keyout", files.serverKey}});
    return files;
}

}  // namespace support
