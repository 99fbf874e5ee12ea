// A login that is tried on the server before it is stored.
#pragma once

#include <optional>
#include <string>

#include "cli/session/session.hpp"

namespace quillon::cli {

class Trial {
public:
    // options: those of the command line and of the site.
    Trial(Session& session, CommonOptions options, Address address)
        : session_(session), options_(std::move(options)), address_(std::move(address)) {}

    // What the server accepts: who is given now, then who the netrc file says (whose password stays
    // there: the login has none), then who is asked for; no earlier password. What is missing alone
    // is asked for, and whether to trust a server that nobody vouches for.
    Result<Login> run(bool looksIntoNetrc);

    // The same by the server's own page; the collection is looked for, too.
    Result<Login> runByBrowser();

    // With the pin of a server that the person trusts now.
    const CommonOptions& options() const { return options_; }
    const Address& address() const { return address_; }  // of the collection that was opened

private:
    Login nobody() const;  // with the proxy
    Result<void> accept(const Login& login);
    Result<void> tryOut(const Login& login);
    Result<Login> signIn();
    Result<std::optional<Login>> tryNetrc(Login login);
    Result<void> askForTrust(const Login& login, const Error& untrusted);

    Session& session_;
    CommonOptions options_;
    Address address_;
};

}  // namespace quillon::cli
