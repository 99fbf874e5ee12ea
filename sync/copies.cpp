#include "sync/copies.hpp"

#include <utility>

#include "sync/plan.hpp"
#include "sync/replace_here.hpp"

namespace quillon::sync {

void knowCopies(const std::vector<ConflictCopy>& copies, ThereTree& there, bool unproven) {
    for (const ConflictCopy& each : copies) {
        const auto node = there.find(each.path);
        if (node == there.end() || node->second.kind != NodeKind::file) continue;
        BaseNode version;
        version.here.hash = each.there.hash;
        version.there = each.there;
        if (isUnchangedThere(version, node->second).value_or(unproven)) {
            node->second.state.hash = each.there.hash;
        }
    }
}

Result<void> removeCopy(const LocalFolder& folder, Store& store, const ConflictCopy& copy,
                        StateChange& change) {
    const Result<FileHere> found = readFileHere(folder, copy.copy);
    if (!found) return found.error();
    if (found->entry && found->hash == copy.there.hash) {
        const Removal removal{{}, takeInto(store, copy.copy, *found, change)};
        Result<void> removed = store.checkWriters(folder, copy.copy);
        if (removed) removed = folder.removeFile(copy.copy, *found->entry, removal);
        if (!removed && removed.error().kind != Kind::changedHere) return removed.error();
    }
    change.goneCopies.push_back(copy.copy);
    return {};
}

}  // namespace quillon::sync
