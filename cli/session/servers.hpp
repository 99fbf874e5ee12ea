// The servers that one command's operands are on, by bare requests.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/session/session.hpp"
#include "client/remote/remote.hpp"
#include "client/remote/resource.hpp"

namespace quillon::cli {

class Servers {
public:
    explicit Servers(Session& session) : session_(session) {}

    // With a question for a password where one is missing. It lives as long as this.
    Result<Remote*> of(const Address& address);
    // One more, with connections of its own.
    Result<std::unique_ptr<Remote>> openAnother(const Address& address);

    // What is at each; those of one server are asked for at the same time.
    std::vector<Result<std::optional<Resource>>> look(const std::vector<Address>& addresses);
    Result<std::optional<Resource>> look(const Address& address);

private:
    struct Known {
        std::unique_ptr<Remote> remote;
        Login login;
    };
    Known* find(const Address& address);

    Session& session_;
    std::map<std::string, Known> known_;  // by identityOf
};

// Whether requests to both go to the same server with the same credentials.
bool isSameServer(const Address& a, const Address& b);

}  // namespace quillon::cli
