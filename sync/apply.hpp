// Carries out a plan: moves and folders first, then contents, many at a time, removals last.
#pragma once

#include <map>
#include <string>

#include "sync/work.hpp"

namespace quillon::sync {

struct Applied {
    size_t failures = 0;         // of what another plan would find again
    size_t mishaps = 0;          // of what is done
    bool moveFailed = false;     // a plan without moves does it otherwise
    bool removalFailed = false;  // another plan would do no more
};

// What cannot be done is told and noted, but for what waits, and the rest goes on. earlier: what
// failed before, by its path; what is not to be tried again yet is left out. Fails when the state
// cannot be written, or when it is interrupted.
Task<Result<Applied>> applyPlan(Work& work, const Plan& plan,
                                std::map<std::string, Failed> earlier);

}  // namespace quillon::sync
