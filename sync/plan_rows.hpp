// What the base and both sides have under one path, in a row.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "sync/judge_files.hpp"
#include "sync/node.hpp"

namespace quillon::sync {

// How what is below a path is planned.
enum class Below : uint8_t {
    plan,
    leave,
    removeOld,  // of the one side that has it still
    compare     // on whose contents it depends whether it is removed
};

enum class Held : uint8_t { same, unsure, changed };  // in the order of their weight

constexpr size_t noRow = ~size_t{0};

struct PlanRow {
    const std::string* path = nullptr;
    const BaseNode* base = nullptr;
    const HereNode* here = nullptr;
    const ThereNode* there = nullptr;
    size_t parent = noRow;
    Held heldHere = Held::same, heldThere = Held::same;  // with all below it
    Verdict verdict{};
    Below below = Below::plan;
    // Whether a member is there after the plan, or one is blocked.
    bool keepsHere = false, keepsThere = false, keepsBlocked = false;
    bool isDone = false;  // its action is in the plan
};

// In the order of paths, so that a folder comes before its members. They point into the trees.
std::vector<PlanRow> mergeTrees(const Trees& trees);

// Which row; noRow: none. guess: one that it often is.
size_t findRow(const std::vector<PlanRow>& rows, std::string_view path, size_t guess = noRow);

}  // namespace quillon::sync
