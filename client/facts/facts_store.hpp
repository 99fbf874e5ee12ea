// What was learned of servers, in $XDG_STATE_HOME/quillon/servers: a file a collection, mode 0600.
#pragma once

#include <optional>
#include <string>

#include "client/facts/server_facts.hpp"

namespace quillon {

// URLs are of collections and end in a slash. Nothing here fails: what cannot be kept is learned
// again.

// Of the collection or of the nearest one above it, at most 30 days old.
std::optional<ServerFacts> findFacts(const std::string& url);

void keepFacts(const std::string& url, const ServerFacts& facts);

// What findFacts gave does not hold: a condition was obeyed or refused against it.
void forgetFacts(const std::string& url);

}  // namespace quillon
