// What a run that was killed left: looked at, not believed.
#pragma once

#include <string>
#include <vector>

#include "client/tree/local_folder.hpp"
#include "sync/state.hpp"
#include "sync/store.hpp"

namespace quillon::sync {

struct Recovered {
    // Stores of new members, which may have been made, and may be empty, as a lock makes them. They
    // stay noted until a run has done what was to be done.
    std::vector<Intent> halfMade;
    // Paths whose old version was taken out of the store's late files changed: somebody wrote into
    // it after it had been replaced.
    std::vector<LateFile> writtenLate;
    // Sentences about old files that are still hidden beside the new ones.
    std::vector<std::string> left;
};

// Of which run it counts that somebody wrote late: undo takes back all of the last one.
enum class LateRun : bool { last, itsOwn };

// Old files go to the store, new ones that were not placed go away, and what may have been done is
// noted as done by the last run.
Result<Recovered> recover(const LocalFolder& folder, State& state, Store& store, LateRun its);

// The same for who only looks: nothing but what may be half made.
Result<Recovered> lookAtIntents(const State& state);

// A member that is half made, empty and faces a file here gets that content: it is nobody's.
void adoptHalfMade(const Recovered& recovered, Trees& trees);

}  // namespace quillon::sync
