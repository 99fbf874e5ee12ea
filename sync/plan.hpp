// What makes both sides of a pair the same without losing anything. No I/O and no clock.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "sync/node.hpp"

namespace quillon::sync {

// The state keeps them by their numbers.
enum class Act : uint8_t {
    moveHere,    // from, to path: what was moved there
    moveThere,   // the same the other way
    makeHere,    // a folder
    makeThere,   // a collection
    fetch,       // the content there goes here, over what the plan saw, or where nothing is
    store,       // the content here goes there
    compare,     // only the content there tells, whose path is that of the trees given; until its
                 // hash is known the rest is provisional
    adopt,       // both sides are the same: it is noted, and nothing is moved
    forget,      // both sides have lost it: its note goes
    conflict,    // neither side is touched
    blocked,     // neither side is touched, nor is anything above or below it removed
    removeHere,  // last, leaves first
    removeThere,
};

enum class Conflict : uint8_t {
    none,
    bothChanged,
    bothMade,  // contents differ
    kinds      // a file and a folder
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
    bool mayRemove = true;  // all of both sides was seen, and what is gone is gone
    bool mayMove = true;    // else what was moved is removed and made
};

struct Plan {
    // In the order in which they can be done: moves, folders before what is in them, then contents,
    // removals last.
    std::vector<Action> actions;
    size_t removals = 0;     // of files that both sides had
    size_t known = 0;        // files of the base
    bool needsMore = false;  // a second plan, made of what this one leaves, does the rest
    Trees trees;             // with what was moved under its new paths on all sides
};

// In each tree the folders above a node are in it, too. Contents that have to be compared are asked
// for by Act::compare, at most once each: the caller puts the hash into the node there, and plans
// anew of the trees that it gave.
Plan makePlan(Trees trees, const PlanOptions& options = {});

// Whether both have ids, and not the same one.
bool haveOtherIds(const ThereState& one, const ThereState& other);
// Whether the file there still is what both sides had: the hash decides where it is known, then the
// tags, then size and date; these prove nothing of a file that has another id. Nothing: only the
// content tells.
std::optional<bool> isUnchangedThere(const BaseNode& base, const ThereNode& there);
// Whether it has the size and about the date of what we stored there.
bool looksUnchangedThere(const BaseNode& base, const ThereNode& there);
// Whether that is enough to transfer nothing, and never enough to replace it. Of what is small the
// content is compared: two people may store as many bytes within the same second.
bool isLikelyUnchangedThere(const BaseNode& base, const ThereNode& there);
bool isUnchangedHere(const BaseNode& base, const HereNode& here);

}  // namespace quillon::sync
