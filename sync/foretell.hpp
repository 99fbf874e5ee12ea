// What a whole run does, of which each plan is made of what the one before it leaves. No I/O.
#pragma once

#include "sync/plan.hpp"

namespace quillon::sync {

// The plan with the actions of the one that follows it, where it needs that. options: its own.
Plan foretell(Plan plan, const PlanOptions& options);

}  // namespace quillon::sync
