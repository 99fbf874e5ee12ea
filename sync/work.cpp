#include "sync/work.hpp"

#include <utility>

#include "sync/scan.hpp"

namespace quillon::sync {
namespace {

template <class Tree>
auto* findIn(const Tree& tree, const std::string& path) {
    const auto at = tree.find(path);
    return at == tree.end() ? nullptr : &at->second;
}

}  // namespace

const HereNode* Work::here(const std::string& path) const {
    return findIn(trees.here, path);
}

const ThereNode* Work::there(const std::string& path) const {
    return findIn(trees.there, path);
}

const BaseNode* Work::base(const std::string& path) const {
    return findIn(trees.base, path);
}

Result<std::optional<LocalEntry>> Work::lookHere(const std::string& path) const {
    Result<std::optional<LocalEntry>> now = folder.look(path);
    if (!now) return now;
    const HereNode* seen = here(path);
    const bool isSame = seen == nullptr ? !*now
                                        : *now && (*now)->kind == LocalKind::file &&
                                              hasSameStat(seen->state, hereStateOf(**now));
    if (isSame) return now;
    return localError(Kind::changedHere, "It was changed here meanwhile; the next run takes it.");
}

std::string Work::hashHere(const std::string& path) const {
    const HereNode* node = here(path);
    if (node == nullptr) return {};
    if (!node->state.hash.empty()) return node->state.hash;
    const BaseNode* known = base(path);
    return known ? known->here.hash : std::string();
}

std::string Work::hashThere(const std::string& path) const {
    const ThereNode* node = there(path);
    if (node == nullptr) return {};
    if (!node->state.hash.empty()) return node->state.hash;
    const BaseNode* known = base(path);
    const bool isBase = known && isUnchangedThere(*known, *node).value_or(false);
    return isBase ? known->here.hash : std::string();
}

void Work::noteDone(int64_t intent, Deed deed) {
    journal.next().endedIntents.push_back(intent);
    journal.next().deeds.push_back(std::move(deed));
}

void Work::noteUndone(int64_t intent) {
    journal.next().endedIntents.push_back(intent);
}

void Work::noteNode(const std::string& path, std::optional<BaseNode> node) {
    journal.next().nodes.emplace_back(path, std::move(node));
}

}  // namespace quillon::sync
