// Bare requests of a session, for the few who send them.
#pragma once

#include <utility>

#include "cli/session/session.hpp"
#include "client/remote/remote.hpp"

namespace quillon::cli {

template <class Action>
auto Session::withRemote(const Address& address, Action&& action)
    -> decltype(action(std::declval<Remote&>())) {
    using Outcome = decltype(action(std::declval<Remote&>()));
    const Result<Extension> loaded = extension(address);
    if (!loaded) return loaded.error();
    return withLogin(address, [&](const Login& login) -> Outcome {
        auto remote = Remote::open(*loaded, address, login);
        if (!remote) return std::move(remote).error();
        return action(**remote);
    });
}

}  // namespace quillon::cli
