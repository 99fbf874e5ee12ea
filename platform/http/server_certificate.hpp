// The certificate that a server shows, for a person who may vouch for it.
#pragma once

#include <curl/curl.h>
#include <openssl/types.h>

#include <optional>
#include <string>

#include "platform/base/settings.hpp"
#include "platform/http/target.hpp"

namespace vxhost {

struct ServerCertificate {
    std::string subject;  // of the server's choice, like the next: any text
    std::string issuer;
    std::string validFrom, validUntil;
    std::string fingerprint;  // SHA-256 of the certificate, as "AB:CD:..."
    std::string pin;          // of its public key, "sha256//BASE64"
};

// Of its public key, "sha256//BASE64" (RFC 7469); empty: it has none that can be read.
std::string pinOf(const X509& certificate);

// That of the latest connection of a handle with CURLOPT_CERTINFO; nothing where none came.
std::optional<ServerCertificate> shownCertificate(CURL* easy);

// Connects, whoever the server is, and sends nothing. Throws a Failure whose text is a sentence.
ServerCertificate lookAtCertificate(const Sender& sender, const std::string& url);

}  // namespace vxhost
