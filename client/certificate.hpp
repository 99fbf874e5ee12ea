// The certificate of a server that nobody vouches for, as a person may look at it.
#pragma once

#include <string>

#include "client/address.hpp"
#include "client/extension.hpp"

namespace quillon {

struct ServerCertificate {
    std::string subject;  // any text, as the server says it; so is the issuer
    std::string issuer;
    std::string validFrom, validUntil;  // as "Nov 26 11:00:00 2026 GMT"
    std::string fingerprint;            // SHA-256 of the certificate, as "AB:CD:..."
    std::string pin;                    // of its public key (pin.hpp)
};

// Connects and sends nothing. proxy: its URL; empty: none.
Result<ServerCertificate> lookAtCertificate(const Extension& extension, const Address& address,
                                            const std::string& proxy);

}  // namespace quillon
