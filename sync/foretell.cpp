#include "sync/foretell.hpp"

#include <set>
#include <utility>

namespace quillon::sync {
namespace {

Trees afterRemovals(Trees trees, const std::vector<Action>& actions) {
    for (const Action& each : actions) {
        if (each.act != Act::removeHere && each.act != Act::removeThere) continue;
        if (each.act == Act::removeHere) trees.here.erase(each.path);
        if (each.act == Act::removeThere) trees.there.erase(each.path);
        trees.base.erase(each.path);
    }
    return trees;
}

}  // namespace

Plan foretell(Plan plan, const PlanOptions& options) {
    if (!plan.needsMore) return plan;
    std::set<std::pair<Act, std::string>> told;
    for (const Action& each : plan.actions) told.emplace(each.act, each.path);
    Plan next = makePlan(afterRemovals(std::move(plan.trees), plan.actions), options);
    for (Action& each : next.actions) {
        if (told.emplace(each.act, each.path).second) plan.actions.push_back(std::move(each));
    }
    plan.trees = std::move(next.trees);
    plan.needsMore = next.needsMore;
    return plan;
}

}  // namespace quillon::sync
