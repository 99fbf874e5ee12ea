#include "sync/holders.hpp"

#include <vector>

namespace quillon::sync {
namespace {

template <class Side, class Other>
void leaveOutOf(BaseTree& base, Side& side, const Other& other, Holders& holders) {
    for (auto path = holders.all.rbegin(); path != holders.all.rend(); ++path) {  // deepest first
        const auto its = side.find(*path);
        const bool isLost = base.contains(*path) && !other.contains(*path);
        if (its == side.end() || !isLost) continue;
        const auto member = side.lower_bound(*path + '/');
        if (member != side.end() && member->first.starts_with(*path + '/')) continue;
        side.erase(its);
        base.erase(*path);
        holders.staying.insert(*path);
    }
}

template <class Other>
void keepIn(std::vector<Action>& actions, Act removal, const Other& other, Holders& holders) {
    std::erase_if(actions, [&](const Action& each) {
        const bool stays = each.act == removal && each.isFolder &&
                           holders.all.contains(each.path) && !other.contains(each.path);
        if (stays) holders.staying.insert(each.path);
        return stays;
    });
}

}  // namespace

void addHolders(std::string_view leftOut, std::set<std::string>& holders) {
    for (size_t end = leftOut.rfind('/'); end != leftOut.npos; end = leftOut.rfind('/', end - 1)) {
        if (!holders.emplace(leftOut.substr(0, end)).second) return;
    }
}

void leaveOutHolders(Trees& trees, Holders& here, Holders& there) {
    leaveOutOf(trees.base, trees.here, trees.there, here);
    leaveOutOf(trees.base, trees.there, trees.here, there);
}

void keepHolders(Plan& plan, Holders& here, Holders& there) {
    keepIn(plan.actions, Act::removeHere, plan.trees.there, here);
    keepIn(plan.actions, Act::removeThere, plan.trees.here, there);
}

Result<void> tellStaying(State& state, std::string_view setting,
                         const std::set<std::string>& staying, bool isNoted,
                         const std::function<void(const std::string& path)>& tell) {
    std::string lines = "\n";
    for (const std::string& path : staying) lines += path + '\n';
    const Result<std::optional<std::string>> told = state.setting(setting);
    if (!told) return told.error();
    const std::string before = told->value_or("\n");
    if (before == lines) return {};
    for (const std::string& path : staying) {
        if (before.find('\n' + path + '\n') == before.npos) tell(path);
    }
    return isNoted ? state.set(setting, lines) : Result<void>();
}

}  // namespace quillon::sync
