// What a server does for who writes several members, asked for once.
#pragma once

#include <optional>
#include <string>

#include "client/tree/put_tree.hpp"

namespace quillon {

class PutFactsOnce {
public:
    // url: of the collection that is written into.
    PutFactsOnce(Remote& remote, std::string url) : remote_(remote), url_(std::move(url)) {}
    Task<Result<PutFacts>> ask();

private:
    Remote& remote_;
    const std::string url_;
    std::optional<PutFacts> facts_;
};

}  // namespace quillon
