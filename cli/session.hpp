// One run of the program: the extension, credentials, and open collections shared by what a command
// does to several URLs.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "cli/credentials.hpp"
#include "cli/options.hpp"
#include "cli/progress.hpp"
#include "client/collection.hpp"

namespace quillon::cli {

class Session {
public:
    explicit Session(const CommonOptions& options);

    Result<Extension> extension();  // loaded at the first call

    // Runs an action that takes a Login and gives a Result, with what is known for the address; a
    // refusal is answered by asking the person for a password, once.
    template <class Action>
    auto withLogin(const Address& address, Action&& action)
        -> decltype(action(std::declval<const Login&>())) {
        const Result<Login> login = credentials_.find(address);
        if (!login) return login.error();
        auto result = action(*login);
        if (result || result.error().kind != Kind::notAuthorized) return result;
        const Result<Login> other = credentials_.askAgain(address);
        if (other) return action(*other);
        if (other.error().kind == Kind::interrupted) return other.error();
        return login->user.empty() ? withoutLogin(result.error()) : std::move(result).error();
    }

    // The address's collection; the one opened last is kept for a next call that asks for the same.
    Result<std::shared_ptr<Collection>> open(const Address& address,
                                             const OpenOptions& options = {});

    Progress& progress() { return progress_; }

private:
    static Error withoutLogin(Error refusal);  // tells how to give one

    const CommonOptions& options_;
    Credentials credentials_;
    Progress progress_;
    std::optional<Extension> extension_;

    std::shared_ptr<Collection> kept_;
    std::string keptUser_;  // that its URL named
    OpenOptions keptOptions_;
};

}  // namespace quillon::cli
