// Who the person is to each server. Credentials found for one origin never go to another.
#pragma once

#include <map>
#include <string>

#include "cli/parser/options.hpp"
#include "cli/session/sites.hpp"
#include "client/address.hpp"
#include "client/collection.hpp"

namespace quillon::cli {

class Credentials {
public:
    explicit Credentials(const Sites& sites) : sites_(sites) {}

    // From the first that has some: an earlier answer, the URL itself, --user and --password-file,
    // the site's command or its password, the netrc file; a password that is still missing is asked
    // for on the terminal. Without any the login is empty, as it is where a token or a ticket says
    // who it is.
    Result<Login> find(const Address& address);

    // After a refusal: asks the person, once an origin. Fails when that has been done, when what
    // was refused came from a file, or when there is no terminal.
    Result<Login> askAgain(const Address& address);

    // Whether what find() gave came from there, which a person may have forgotten.
    bool areOfNetrc(const Address& address) const;

    // What sites gave, and persons. What the line gives may be gone where it came from.
    void forget();

private:
    struct Known {
        Login login;
        bool asked = false, isGiven = false, isOfNetrc = false;
    };
    Result<Known> findKnown(const Address& address) const;
    CommonOptions optionsFor(const Address& address, const std::string& user) const;
    Result<Secret> passwordFor(const Address& address, Known& known) const;

    const Sites& sites_;
    std::map<std::string, Known> known_;  // by identityOf
};

// In no report and no log from now on, also where a server repeats it. Not so a password that is a
// plain word: the gap in a URL, or in a sentence, would tell it.
void concealLogin(const Login& login);

// What the person types now, which can be sent.
Result<std::string> askForUser(const Address& address);

// What the person gives now: from --password-file or the command, else asked for on the terminal.
Result<Secret> givenPassword(const CommonOptions& options, const Address& address,
                             const std::string& user);

}  // namespace quillon::cli
