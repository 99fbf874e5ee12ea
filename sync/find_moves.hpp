// Which of what is gone under one path is what is new under another.
#pragma once

#include <string>
#include <vector>

#include "sync/plan.hpp"

namespace quillon::sync {

using Moves = std::vector<Action>;  // each of names as those before it leave them

// Gives what is moved its new path in those of the trees in which it had the old one.
Moves findMoves(Trees& trees, const PlanOptions& options);

// Under which path something there was before them.
std::string pathBefore(const Moves& moves, std::string path);

}  // namespace quillon::sync
