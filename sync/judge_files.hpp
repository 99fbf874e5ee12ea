// What becomes of two files that are under one path.
#pragma once

#include <optional>

#include "sync/plan.hpp"

namespace quillon::sync {

struct Verdict {
    std::optional<Act> act{};  // nothing: both are what they were
    Conflict conflict = Conflict::none;
};

// base: nothing where both are new.
Verdict judgeFiles(const BaseNode* base, const HereNode& here, const ThereNode& there);

// Whether the base tells apart no more what did not change: times or a tag moved without it.
bool isStale(const BaseNode& base, const HereNode& here, const ThereNode& there);

}  // namespace quillon::sync
