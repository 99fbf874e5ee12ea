// What makes both sides of a pair the same without losing anything. No I/O and no clock.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "sync/node.hpp"

namespace quillon::sync {

enum class Act : uint8_t {
    makeHere,    // a folder
    makeThere,   // a collection
    moveHere,    // from, to path: what was moved there
    moveThere,   // the same the other way
    fetch,       // the content there goes here, over what the plan saw, or where nothing is
    store,       // the content here goes there
    compare,     // only contents tell: the same is adopted, another one is a conflict
    adopt,       // both sides are the same: it is noted, and nothing is moved
    forget,      // both sides have lost it: its note goes
    removeHere,  // last, leaves first
    removeThere,
    conflict,  // neither side is touched
    blocked    // neither side is touched, nor is anything below it removed
};

enum class Conflict : uint8_t {
    none,
    bothChanged,
    bothMade,    // contents differ, or cannot be compared
    kinds,       // a file and a folder
    changedGone  // kept for what content cannot win, as a folder that is gone with changes in it
};

enum class Direction : uint8_t { both, pull, push };

struct Action {
    Act act = Act::adopt;
    std::string path{};
    std::string from{};  // of a move
    Conflict conflict = Conflict::none;
    std::string why{};  // of what is blocked
    bool isFolder = false;
};

struct PlanOptions {
    Direction direction = Direction::both;
    bool hereComplete = true, thereComplete = true;  // all of a side was seen: what is gone is gone
};

struct Plan {
    // In the order in which they can be done: folders before what is in them, moves before what
    // fills their old places, removals last.
    std::vector<Action> actions;
    size_t removals = 0;  // of files that both sides had
    size_t known = 0;     // files of the base
};

Plan makePlan(const BaseTree& base, const HereTree& here, const ThereTree& there,
              const PlanOptions& options = {});

}  // namespace quillon::sync
