// What opens the way to one origin, beside a user name and a password.
#pragma once

#include <curl/curl.h>

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/http/secret_text.hpp"

namespace vxhost {

class ClientCertificate;
struct Settings;

// Nothing of it goes to another origin than its own.
struct WayIn {
    std::string origin{};               // as origin() gives it
    std::vector<SecretText> headers{};  // lines "Name: value", which every request carries
    // A bearer token (RFC 6750); after a refusal another one than was refused (null: none was).
    // Gives null when there is no other. From any thread that works; throws a Failure.
    std::function<std::shared_ptr<const SecretText>(const SecretText* refused)> token{};
    // Connections that log in by themselves, over HTTP/1.1: CURLAUTH_NEGOTIATE with the ticket of
    // the person, or CURLAUTH_NTLM with the credentials. 0: neither.
    unsigned long connectionScheme = 0;
    std::shared_ptr<const ClientCertificate> certificate{};  // null: none
    std::string pin{};  // of the server's public key, "sha256//BASE64": it is trusted, and no other
    std::string unixSocket{};  // a path, in place of a connection to the host; empty: none
};

// The settings' own where it is for that URL; null: none.
const WayIn* wayInTo(std::string_view url, const Settings& settings);

// What of it belongs to the connections of a handle. It must live as long as they do.
void setWayIn(CURL* easy, const WayIn& wayIn);

}  // namespace vxhost
