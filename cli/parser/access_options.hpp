// Options that open the way to a server, beside a user name and a password.
#pragma once

#include <string>
#include <vector>

#include "cli/parser/parser.hpp"

namespace quillon::cli {

// Those that the line does not give come from the site; commands do alone: they are words, the
// program first.
struct AccessOptions {
    std::string origin{};     // to which alone these go; empty: whatever is asked
    std::string auth{};       // "negotiate" or "ntlm"; empty: as the server asks
    std::string tokenFile{};  // "-": standard input
    std::vector<std::string> tokenCommand{};
    std::vector<std::string> headers{};  // "Name: value"
    std::vector<std::string> headersCommand{};
    std::string cert{};
    std::string key{};  // empty: with the certificate
    std::vector<std::string> keyPasswordCommand{};
    std::string pin{};
    std::string unixSocket{};

    bool operator==(const AccessOptions&) const = default;
    // Somebody is let in by more than a password.
    bool hasToken() const { return !tokenFile.empty() || !tokenCommand.empty(); }
    bool usesTicket() const { return auth == "negotiate"; }
};

void addAccessOptions(CommandDefinition program, AccessOptions& options);

}  // namespace quillon::cli
