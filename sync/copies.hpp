// Theirs beside a file in conflict: what becomes of such a copy when the conflict is settled.
#pragma once

#include "client/tree/local_folder.hpp"
#include "sync/state.hpp"
#include "sync/store.hpp"

namespace quillon::sync {

// It goes to the store; one that the person has changed stays, as a file like others. The change
// forgets its row.
Result<void> removeCopy(const LocalFolder& folder, Store& store, const ConflictCopy& copy,
                        StateChange& change);

}  // namespace quillon::sync
