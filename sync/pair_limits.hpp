// How much is kept of what is replaced or removed, as the pairs want it.
#pragma once

#include "client/result.hpp"
#include "sync/state.hpp"
#include "sync/store_limits.hpp"

namespace quillon::sync {

// As the pair says, else as it is where nobody says anything.
Result<StoreLimits> limitsOf(const State& state);

// Of each the larger one.
StoreLimits widerOf(StoreLimits one, const StoreLimits& other);

// Those of a run, or of the pair that wants more: all have one store, and none empties it for the
// others.
StoreLimits limitsOfAll(StoreLimits ofRun);

}  // namespace quillon::sync
