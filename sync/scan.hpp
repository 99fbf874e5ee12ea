// What is in the folder of a pair.
#pragma once

#include <set>
#include <string>

#include "client/tree/filter.hpp"
#include "client/tree/local_folder.hpp"
#include "sync/node.hpp"

namespace quillon::sync {

struct HereScan {
    HereTree tree;       // without hashes
    std::string unseen;  // a path that could not be read; empty: there is none
    // Paths of folders that are in the tree and have something in them, or deeper, that is not.
    std::set<std::string> holdLeftOut;
};

// copies: paths that are never sent. What the filter does not take is passed over.
Result<HereScan> scanHere(const LocalFolder& folder, const Filter& filter,
                          const std::set<std::string>& copies);

HereState hereStateOf(const LocalEntry& entry);

// As it is written into a base: a file that was changed just now could be changed once more without
// another time.
HereState settled(HereState state);

// Whether size, times and inode are those that the base tells.
bool hasSameStat(const HereState& base, const HereState& here);

// Whether what was written a moment ago may be read as it is, for who only looks.
enum class Young : bool { isRead, isWaitedFor };

// Waits until what was written here is two seconds old, at most two seconds in all, and finds the
// hashes that the plan needs: of what may have changed, of what has no base and faces a file there,
// and of what may have been moved. What is still being written becomes blocked.
void readChanged(const LocalFolder& folder, Trees& trees, Young young);

}  // namespace quillon::sync
