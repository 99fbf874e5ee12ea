// The servers that a session asks by bare requests; in a shell their connections stay open from one
// command to the next.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "cli/session/session.hpp"
#include "client/remote/remote.hpp"
#include "client/remote/resource.hpp"

namespace quillon::cli {

class Servers {
public:
    explicit Servers(Session& session) : session_(session) {}

    // With a question for a password where one is missing. It lives as long as this, or until
    // forget().
    Result<Remote*> of(const Address& address);
    // One more, with connections of its own.
    Result<std::unique_ptr<Remote>> openAnother(const Address& address);

    // As Session::withRemote(), by the one that is open. It must be safe to be run again where the
    // first thing that it asked for was refused for want of a password.
    template <class Action>
    auto with(const Address& address, Action&& action)
        -> decltype(action(std::declval<Remote&>())) {
        using Outcome = decltype(action(std::declval<Remote&>()));
        const Result<Extension> loaded = session_.extension(address);
        if (!loaded) return loaded.error();
        const Known* known = find(address);
        return session_.withLogin(address, [&](const Login& login) -> Outcome {
            // Once: it has the login that is refused.
            if (known) return action(*std::exchange(known, nullptr)->remote);
            auto remote = Remote::open(*loaded, address, login);
            if (!remote) return std::move(remote).error();
            Outcome outcome = action(**remote);
            if (outcome || outcome.error().httpStatus != 401) keep(address, *remote, login);
            return outcome;
        });
    }

    // What is at each; those of one server are asked for at the same time.
    std::vector<Result<std::optional<Resource>>> look(const std::vector<Address>& addresses);
    Result<std::optional<Resource>> look(const Address& address, WantedProperties wanted = {});

    void forget() {
        known_.clear();
        replaced_.clear();
    }

private:
    struct Known {
        std::unique_ptr<Remote> remote;
        Login login;
    };
    Known* find(const Address& address);
    void keep(const Address& address, std::unique_ptr<Remote>& remote, const Login& login);

    Session& session_;
    std::map<std::string, Known> known_;             // by identityOf
    std::vector<std::unique_ptr<Remote>> replaced_;  // which who asked for them may still have
};

// Whether requests to both go to the same server with the same credentials.
bool isSameServer(const Address& a, const Address& b);

}  // namespace quillon::cli
