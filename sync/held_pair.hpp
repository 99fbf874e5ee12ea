// A pair that one run alone has, with what it works on: the folder, and the store of what it
// replaces.
#pragma once

#include "client/tree/local_folder.hpp"
#include "platform/base/descriptor.hpp"
#include "sync/pair.hpp"
#include "sync/store.hpp"

namespace quillon::sync {

struct HeldPair {
    vxhost::Descriptor lock;  // while it is open
    LocalFolder folder;
    Store store;

    // limits: of the run; the store has those of the pair that wants most. Fails with Kind::locked
    // where another run has the pair.
    static Result<HeldPair> open(const Pair& pair, const StoreLimits& limits);
};

// The failure says what becomes of a pair whose folder is gone.
Result<LocalFolder> openFolder(const Pair& pair);

}  // namespace quillon::sync
