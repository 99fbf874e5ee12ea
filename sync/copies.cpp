#include "sync/copies.hpp"

#include <utility>

#include "client/tree/known_file.hpp"
#include "sync/scan.hpp"

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
    const Result<std::optional<LocalEntry>> found = folder.look(copy.copy);
    if (!found) return found.error();
    if (*found && (*found)->kind == LocalKind::file &&
        hashOf(folder, copy.copy, Links::left) == copy.there.hash) {
        HereState version = hereStateOf(**found);
        version.hash = copy.there.hash;
        Removal removal;
        removal.takeOld = [&](const vxhost::Descriptor& directory,
                              const std::string& hidden) -> Result<void> {
            Result<LateFile> late = store.take(directory, hidden, copy.copy, version);
            if (!late) return std::move(late).error();
            change.late.push_back(std::move(*late));
            return {};
        };
        Result<void> removed = store.checkWriters(folder, copy.copy);
        if (removed) removed = folder.removeFile(copy.copy, **found, removal);
        if (!removed && removed.error().kind != Kind::changedHere) return removed.error();
    }
    change.goneCopies.push_back(copy.copy);
    return {};
}

}  // namespace quillon::sync
