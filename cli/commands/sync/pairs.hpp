// The pair that a command is about, and how its events are told.
#pragma once

#include <string>
#include <string_view>

#include "cli/session/session.hpp"
#include "client/address.hpp"
#include "sync/pair.hpp"
#include "sync/plan.hpp"
#include "sync/sync.hpp"

namespace quillon::cli {

// Of the folder, or of one that it is in. A failure says how one is made.
Result<sync::Pair> findPair(const std::string& folder);

// The collection's, with the user that it was paired for.
Result<Address> addressOf(const sync::Pair& pair);

// "fetched"; planned: "fetch".
std::string_view wordOf(sync::Act act, bool planned);
std::string_view reasonOf(sync::Conflict conflict);

// How much is kept of what is replaced, as the pair says.
Result<sync::StoreLimits> limitsOf(const sync::Pair& pair);

}  // namespace quillon::cli
