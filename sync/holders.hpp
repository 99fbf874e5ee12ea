// Folders that one side has lost, and that hold on the other what the filter does not take: they
// stay there, and are left out, too, until something else is in them.
#pragma once

#include <functional>
#include <set>
#include <string>
#include <string_view>

#include "sync/plan.hpp"
#include "sync/state.hpp"

namespace quillon::sync {

// By their paths, of one side.
struct Holders {
    std::set<std::string> all;      // whether they are lost or not
    std::set<std::string> staying;  // what becomes of those that are
};

// All folders above what is left out.
void addHolders(std::string_view leftOut, std::set<std::string>& holders);

// Those that hold nothing else go out of the trees.
void leaveOutHolders(Trees& trees, Holders& here, Holders& there);

// The others lose only what both sides had.
void keepHolders(Plan& plan, Holders& here, Holders& there);

// Tells of each that stays once. setting: where the state has those that were told of.
Result<void> tellStaying(State& state, std::string_view setting,
                         const std::set<std::string>& staying, bool isNoted,
                         const std::function<void(const std::string& path)>& tell);

}  // namespace quillon::sync
