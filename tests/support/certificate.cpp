#include "tests/support/certificate.hpp"

#include "tests/support/process.hpp"
#include "tests/support/temporary_directory.hpp"

namespace support {

const Certificate& certificate() {
    static const TemporaryDirectory made;
    static const Certificate files = makeCertificate(made.path(), "test");
    return files;
}

Certificate makeCertificate(const std::filesystem::path& folder, const std::string& name) {
    Certificate files{folder / (name + ".pem"), folder / (name + ".key")};
    runChecked(
        {.arguments = {"openssl", "req", "-x509", "-days", "2", "-subj", "/CN=quillon " + name,
                       "-addext", "subjectAltName=IP:127.0.0.1,DNS:localhost", "-newkey", "ec",
                       "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes", "-out", files.file,
                       "-keyout", files.key}});
    return files;
}

}  // namespace support
