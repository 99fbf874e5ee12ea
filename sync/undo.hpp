// Gives back what a run replaced or removed, here or there.
#pragma once

#include <cstdint>

#include "client/remote/remote.hpp"
#include "sync/sync.hpp"

namespace quillon::sync {

// run: 0 for the last one that did anything. What has changed since stays as it is and is told with
// Kind::changedHere or Kind::changedOnServer, as is what has another kind now; what is given back
// is told by the act that it takes back. What it replaces goes to the store, and the next run
// brings what was given back to the other side. What a killed run left is recovered first, and
// counts as that run's.
Task<Result<SyncEnd>> undoRun(Remote& remote, Pair& pair, int64_t run, const SyncOptions& options);

}  // namespace quillon::sync
