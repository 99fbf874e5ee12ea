// What putting a tree needs to know of the server, found out at the first need.
#pragma once

#include <optional>
#include <string>

#include "client/facts/server_facts.hpp"
#include "client/remote/remote.hpp"

namespace quillon {

class PutFactsOnce {
public:
    // url: of the collection that is written into.
    PutFactsOnce(Remote& remote, std::string url);

    // Asks the server, if need be. Who asks meanwhile waits.
    Task<Result<ServerFacts>> ask();
    // How members get their files' dates, as far as that is known without asking.
    DatesBy dates() const { return facts_ ? facts_->dates : DatesBy::none; }
    // Whether a tag proves what was stored within the last second; false: it is not known.
    bool tagsDiffer() const { return facts_ && facts_->tagsDiffer; }
    // The server did otherwise than they tell.
    void forget();

private:
    Task<Result<ServerFacts>> learn();

    Remote& remote_;
    const std::string url_;
    Gate asking_;
    std::optional<ServerFacts> facts_;
    bool certain_ = false;  // they are of the server that is there
};

}  // namespace quillon
