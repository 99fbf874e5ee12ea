#include "sync/judge_files.hpp"

#include <chrono>
#include <tuple>

#include "client/memory/file_note.hpp"

namespace quillon::sync {

namespace {

constexpr std::chrono::seconds dateGrain{2};  // of servers, and of their clocks beside their files'

template <class Value>
bool differ(const std::optional<Value>& one, const std::optional<Value>& other) {
    return one && other && *one != *other;
}

// Of two that both changed, or that have no base.
Verdict judgeContents(Conflict otherwise, const HereState& here, const ThereState& there) {
    if (!there.hash.empty()) {
        if (there.hash == here.hash) return {Act::adopt};
        return {Act::conflict, otherwise};
    }
    if (there.size && *there.size != here.size) return {Act::conflict, otherwise};
    return {Act::compare};
}

}  // namespace

bool haveOtherIds(const ThereState& one, const ThereState& other) {
    return !one.fileId.empty() && !other.fileId.empty() && one.fileId != other.fileId;
}

bool isUnchangedHere(const BaseNode& base, const HereNode& here) {
    if (base.kind != here.kind) return false;
    if (here.kind == NodeKind::folder) return true;
    const HereState& now = here.state;
    if (!now.hash.empty()) return now.hash == base.here.hash;
    return now.size == base.here.size && now.modifiedNs == base.here.modifiedNs &&
           now.changedNs == base.here.changedNs && base.here.changedNs != 0;
}

std::optional<bool> isUnchangedThere(const BaseNode& base, const ThereNode& there) {
    if (base.kind != there.kind) return false;
    if (there.kind == NodeKind::folder) return true;
    const ThereState& now = there.state;
    if (!now.hash.empty()) return now.hash == base.here.hash;
    const ThereState& known = base.there;
    // Whatever the tag says: what is not the base's content is in no store.
    if (differ(now.size, known.size)) return false;
    // Another file may have taken its place with its tag and its date.
    const auto same = haveOtherIds(known, now) ? std::nullopt : std::optional(true);
    // The weak comparison of RFC 9110, 8.8.3.2: some tags only become strong with time.
    if (!now.tag.text.empty() && !known.tag.text.empty()) {
        if (now.tag.text != known.tag.text) return false;
        // A server may give all versions one tag.
        return differ(now.modified, known.modified) ? std::nullopt : same;
    }
    if (known.isLikely || !known.modified || !now.modified || !known.tag.text.empty())
        return std::nullopt;
    return *now.modified == *known.modified ? same : false;
}

bool looksUnchangedThere(const BaseNode& base, const ThereNode& there) {
    if (base.kind != there.kind || !base.there.isLikely) return false;
    const auto& known = base.there.modified;
    const auto& now = there.state.modified;
    if (haveOtherIds(base.there, there.state)) return false;
    if (!known || !now || !base.there.size || there.state.size != base.there.size) return false;
    return std::chrono::abs(*known - *now) <= dateGrain;
}

bool isLikelyUnchangedThere(const BaseNode& base, const ThereNode& there) {
    return looksUnchangedThere(base, there) && *base.there.size > worthLooking &&
           *there.state.modified <= *base.there.modified;
}

Verdict judgeFiles(const BaseNode* base, const HereNode& here, const ThereNode& there) {
    if (!base || base->kind != NodeKind::file)
        return judgeContents(Conflict::bothMade, here.state, there.state);
    const auto unchangedThere = isUnchangedThere(*base, there);
    const bool unchangedHere = isUnchangedHere(*base, here);
    if (!unchangedThere && unchangedHere && isLikelyUnchangedThere(*base, there)) return {};
    if (!unchangedThere) return {Act::compare};
    if (unchangedHere && !*unchangedThere) return {Act::fetch};
    if (!unchangedHere && *unchangedThere) return {Act::store};
    if (!unchangedHere) return judgeContents(Conflict::bothChanged, here.state, there.state);
    if (isStale(*base, here, there)) return {Act::adopt};
    return {};
}

bool isStale(const BaseNode& base, const HereNode& here, const ThereNode& there) {
    if (here.state.inode != base.here.inode || there.state.segment != base.there.segment ||
        there.state.fileId != base.there.fileId)
        return true;
    if (base.there.isLikely && !there.state.hash.empty()) return true;  // it is certain now
    if (here.kind == NodeKind::folder) return false;  // its times and tag move with its members
    const auto stat = [](const HereState& state) {
        return std::tie(state.size, state.modifiedNs, state.changedNs);
    };
    return stat(here.state) != stat(base.here) || there.state.tag != base.there.tag ||
           there.state.size != base.there.size || there.state.modified != base.there.modified;
}

}  // namespace quillon::sync
