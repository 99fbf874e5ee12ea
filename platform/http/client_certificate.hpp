// The certificate by which a person logs in to a server (TLS client authentication), and its key.
#pragma once

#include <openssl/types.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/http/secret_text.hpp"

namespace vxhost {

class ClientCertificate {
public:
    // Of that file; asked for at most once, and only where the key is encrypted. May throw.
    using Passphrase = std::function<SecretText(const std::string& file)>;

    // file: PEM, with the certificates of authorities behind the person's own, or PKCS#12; keyFile:
    // PEM, empty when the key is in the same file. The passphrase is forgotten afterwards. Throws a
    // Failure whose text is a sentence.
    static std::shared_ptr<const ClientCertificate> load(const std::string& file,
                                                         const std::string& keyFile,
                                                         const Passphrase& passphrase);

    // To who asks for it over that connection. False: OpenSSL refuses it.
    bool presentOver(SSL* connection) const noexcept;

    struct FreeCertificate {
        void operator()(X509* certificate) const;
    };
    struct FreeKey {
        void operator()(EVP_PKEY* key) const;
    };
    using CertificatePtr = std::unique_ptr<X509, FreeCertificate>;
    using KeyPtr = std::unique_ptr<EVP_PKEY, FreeKey>;

private:
    CertificatePtr own_;
    std::vector<CertificatePtr> above_;  // from its issuer upwards
    KeyPtr key_;
};

}  // namespace vxhost
