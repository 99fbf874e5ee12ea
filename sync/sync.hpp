// A folder and a collection that are kept the same, changed on both sides by several people.
// Programs outside of this tree have working_copy.hpp.
//
//   auto pair = sync::Pair::find(folder);
//   auto end = remote.run(sync::synchronise(remote, **pair, options));
#pragma once

#include "client/remote/remote.hpp"
#include "client/result.hpp"
#include "sync/pair.hpp"
#include "sync/plan.hpp"
#include "sync/sync_options.hpp"

namespace quillon::sync {

// One run. Fails when nothing could be begun, or when it was interrupted; what is done is done.
Task<Result<SyncEnd>> synchronise(Remote& remote, Pair& pair, const SyncOptions& options);

// What a run would do, as far as that can be told without fetching contents. remote: null asks
// nothing of the server, whose side counts as unchanged.
Result<Plan> planPair(Remote* remote, Pair& pair);

}  // namespace quillon::sync
