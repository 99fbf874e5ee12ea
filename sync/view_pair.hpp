// What both sides of a pair are, and what they were when they were last the same.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "client/remote/remote.hpp"
#include "client/tree/local_folder.hpp"
#include "sync/holders.hpp"
#include "sync/node.hpp"
#include "sync/pair.hpp"
#include "sync/state.hpp"

namespace quillon::sync {

// As far as looking tells.
struct View {
    Trees trees;
    std::string filterText;
    std::string server;  // empty: it was not asked
    std::optional<Time> asked;
    std::vector<KnownVersion> versions;  // of theirs, from earlier runs
    std::vector<std::string> leftOut;    // paths of the state that the filter does not take
    // Copies of theirs that somebody stored under the same names: they are files like others.
    std::vector<std::string> storedCopies;
    Holders holdersHere, holdersThere;
    std::string unseen;   // what could not be seen of either side; empty: all was
    bool isLent = false;  // the plan has the trees
};

// remote: null asks nothing of the server. makesRoot: the collection, where nothing was ever
// synchronised.
Task<Result<View>> viewPair(Remote* remote, Pair& pair, const LocalFolder& folder, bool makesRoot);

}  // namespace quillon::sync
