#include "sync/view_pair.hpp"

#include <set>
#include <utility>

#include "client/remote/change.hpp"
#include "sync/look_there.hpp"
#include "sync/scan.hpp"

namespace quillon::sync {
namespace {

// Those that have come there by the hand of somebody who has the same conflict. Gives them, and
// takes them out.
std::vector<std::string> takeStored(std::set<std::string>& copies, const ThereTree& there) {
    std::vector<std::string> stored;
    for (const std::string& each : copies) {
        if (there.contains(each)) stored.push_back(each);
    }
    for (const std::string& each : stored) copies.erase(each);
    return stored;
}

std::set<std::string> pathsOf(const std::vector<ConflictCopy>& copies) {
    std::set<std::string> paths;
    for (const ConflictCopy& each : copies) paths.insert(each.copy);
    return paths;
}

// What the filter leaves out counts as never having been synchronised.
std::vector<std::string> leaveOut(const Filter& filter, BaseTree& base) {
    std::vector<std::string> paths;
    std::erase_if(base, [&](const auto& each) {
        if (filter.takes(each.first, each.second.kind == NodeKind::folder)) return false;
        paths.push_back(each.first);
        return true;
    });
    return paths;
}

std::string unseenOf(const HereScan& here, const ThereLook& there) {
    if (!here.unseen.empty()) return here.unseen + " here";
    return there.unseen.empty() ? std::string() : there.unseen + " on the server";
}

// The other side as it was when both were the same.
ThereTree unchangedThere(const BaseTree& base) {
    ThereTree there;
    for (const auto& [path, node] : base) {
        ThereState state = node.there;
        state.hash = node.here.hash;
        there.emplace_hint(there.end(), path, ThereNode{node.kind, std::move(state), {}});
    }
    return there;
}

Task<Result<ThereLook>> lookOrMake(Remote& remote, const Pair& pair, const Filter& filter,
                                   Folding folding, bool isNew, bool mayMake) {
    std::string url = pair.url();
    Result<ThereLook> look = co_await lookThere(remote, url, filter, folding);
    if (look || look.error().httpStatus != 404) co_return std::move(look);
    if (isNew && !mayMake) co_return ThereLook{};
    if (isNew) {
        Result<void> made = co_await quillon::makeCollection(remote, url);
        if (!made) co_return std::move(made).error();
        co_return co_await lookThere(remote, std::move(url), filter, folding);
    }
    Error gone = std::move(look).error();
    gone.sentences = {
        "The collection is gone from the server, and nothing was changed here. Put "
        "it back, or pair the folder with another one (quillon sync --forget "
        "FOLDER)."};
    co_return std::move(gone);
}

// Tried out once: who is killed meanwhile leaves a file in the folder. What cannot be tried out is
// taken for a file system that folds nothing, and asked again.
Folding foldingOf(State& state, const LocalFolder& folder) {
    const Result<std::optional<std::string>> known = state.setting("folding");
    if (known && *known && (*known)->size() == 2) {
        return {(*known)->front() == 'y', (*known)->back() == 'y'};
    }
    const Result<Folding> found = folder.folding();
    if (!found) return {};
    const std::string text{found->letterCase ? 'y' : 'n', found->form ? 'y' : 'n'};
    const Result<void> noted = state.set("folding", text);
    (void)noted;  // else it is tried out again
    return *found;
}

}  // namespace

Task<Result<View>> viewPair(Remote* remote, Pair& pair, const LocalFolder& folder, bool makesRoot) {
    const Result<Pair::EffectiveFilter> filter = pair.filter();
    if (!filter) co_return filter.error();
    Result<std::vector<ConflictCopy>> copies = pair.state().copies();
    if (!copies) co_return std::move(copies).error();
    Result<std::vector<KnownVersion>> compared = pair.state().compared();
    if (!compared) co_return std::move(compared).error();
    Result<BaseTree> base = pair.state().base();
    if (!base) co_return std::move(base).error();
    View view;
    view.filterText = filter->text;
    view.trees.base = std::move(*base);
    const bool isNew = view.trees.base.empty();
    view.leftOut = leaveOut(filter->filter, view.trees.base);
    std::set<std::string> ours = pathsOf(*copies);
    Result<HereScan> here = scanHere(folder, filter->filter, ours);
    if (!here) co_return std::move(here).error();
    if (!remote) {
        view.trees.here = std::move(here->tree);
        view.unseen = unseenOf(*here, {});
        view.trees.there = unchangedThere(view.trees.base);
        co_return std::move(view);
    }
    const Folding folding = foldingOf(pair.state(), folder);
    Result<ThereLook> there =
        co_await lookOrMake(*remote, pair, filter->filter, folding, isNew, makesRoot);
    if (!there) co_return std::move(there).error();
    view.storedCopies = takeStored(ours, there->tree);
    if (!view.storedCopies.empty()) here = scanHere(folder, filter->filter, ours);
    if (!here) co_return std::move(here).error();
    view.trees.here = std::move(here->tree);
    view.trees.there = std::move(there->tree);
    view.unseen = unseenOf(*here, *there);
    view.server = std::move(there->server);
    view.asked = there->asked;
    view.holdersHere.all = std::move(here->holdLeftOut);
    view.holdersThere.all = std::move(there->holdLeftOut);
    leaveOutHolders(view.trees, view.holdersHere, view.holdersThere);
    view.versions = std::move(*compared);
    for (ConflictCopy& each : *copies) view.versions.push_back({each.path, std::move(each.there)});
    co_return std::move(view);
}

}  // namespace quillon::sync
