#include "sync/compare_contents.hpp"

#include <set>
#include <string_view>
#include <utility>

#include "client/remote/fetch_hash.hpp"
#include "sync/look_there.hpp"

namespace quillon::sync {
namespace {

constexpr size_t mostContentsAhead = 64;

// What comes may be a later version than the walk told. Some servers tell nothing of a young one.
bool isOtherVersion(const ThereState& listed, const HashedContent& content) {
    const Version& version = content.version;
    if (listed.size.value_or(content.size) != content.size) return true;
    const bool haveTags = !listed.tag.text.empty() && !version.tag.text.empty();
    const bool haveDates = listed.modified && version.modified;
    const bool isSameTag = haveTags && listed.tag.text == version.tag.text;
    const bool isSameDate = haveDates && *listed.modified == *version.modified;
    return (haveTags || haveDates) && !isSameTag && !isSameDate;
}

void takeVersion(ThereState& state, const HashedContent& content) {
    if (isOtherVersion(state, content)) {
        state.size = content.size;
        state.tag = content.version.tag;
        state.modified = content.version.modified;
    }
    state.hash = content.hash;
}

Task<> compareOne(Remote& remote, ThereNode& node, std::string url, TransferMeter* meter,
                  Gate::Pass slot, bool* interrupted) {
    const Gate::Pass within = std::move(slot);
    const ExpectedTransfer expected(meter, node.state.size.value_or(0));
    const Result<HashedContent> content =
        co_await fetchHash(remote, std::move(url), node.state.size);
    if (content) {
        takeVersion(node.state, *content);
    } else if (content.error().kind == Kind::interrupted) {
        *interrupted = true;
    } else {
        node.kind = NodeKind::blocked;
        node.why = content.error().sentences.front();
    }
}

}  // namespace

std::vector<std::string> pathsToCompare(const Plan& plan) {
    std::vector<std::string> paths;
    for (const Action& each : plan.actions) {
        if (each.act == Act::compare) paths.push_back(each.path);
    }
    return paths;
}

void knowVersions(const std::vector<KnownVersion>& versions, ThereTree& there, bool unproven) {
    for (const auto& [path, state] : versions) {
        const auto node = there.find(path);
        if (node == there.end() || node->second.kind != NodeKind::file) continue;
        BaseNode version;
        version.here.hash = state.hash;
        version.there = state;
        if (isUnchangedThere(version, node->second).value_or(unproven))
            node->second.state.hash = state.hash;
    }
}

std::vector<KnownVersion> comparedAndLeft(const Plan& plan, const ThereTree& there,
                                          std::optional<Time> asked) {
    std::set<std::string_view> changed;
    for (const Action& each : plan.actions) {
        if (each.act != Act::conflict && each.act != Act::blocked) changed.insert(each.path);
    }
    std::vector<KnownVersion> versions;
    for (const auto& [path, node] : there) {
        if (node.kind != NodeKind::file || node.state.hash.empty() || changed.contains(path))
            continue;
        versions.push_back({path, settled(node.state, asked)});
    }
    return versions;
}

Task<Result<void>> compareContents(Remote& remote, std::vector<std::string> paths, Trees& trees,
                                   std::function<std::string(const std::string& path)> url,
                                   TransferMeter* meter) {
    Gate slots(remote.loop(), mostContentsAhead);
    TaskGroup comparing(remote.loop());
    bool interrupted = false;
    for (const std::string& path : paths) {
        Gate::Pass slot = co_await slots.enter();
        if (interrupted) break;
        comparing.spawn(compareOne(remote, trees.there.at(path), url(path), meter, std::move(slot),
                                   &interrupted));
    }
    co_await comparing.finish();
    if (interrupted || remote.isInterrupted()) co_return interruption();
    co_return Result<void>();
}

}  // namespace quillon::sync
