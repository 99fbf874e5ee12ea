// Which of what is gone under one path is what is new under another.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "sync/plan.hpp"

namespace quillon::sync {

struct Moves {
    std::vector<Action> actions;  // each of names as those before it leave them
    // Files there by whose contents it is decided whether the folder above them moves as a whole.
    std::set<std::string> doubtful;
};

// Gives what is moved its new path in those of the trees in which it had the old one.
Moves findMoves(Trees& trees, const PlanOptions& options);

}  // namespace quillon::sync
