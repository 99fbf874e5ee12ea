// Theirs beside a file in conflict: what becomes of such a copy when the conflict is settled.
#pragma once

#include "client/tree/local_folder.hpp"
#include "sync/state.hpp"
#include "sync/store.hpp"

namespace quillon::sync {

// What of theirs has been fetched already need not be fetched once more to be compared. unproven:
// what a version that may be another one counts as.
void knowCopies(const std::vector<ConflictCopy>& copies, ThereTree& there, bool unproven);

// It goes to the store; one that the person has changed stays, as a file like others. The change
// forgets its row.
Result<void> removeCopy(const LocalFolder& folder, Store& store, const ConflictCopy& copy,
                        StateChange& change);

}  // namespace quillon::sync
