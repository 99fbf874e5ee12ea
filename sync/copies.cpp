#include "sync/copies.hpp"

#include <utility>

#include "sync/replace_here.hpp"

namespace quillon::sync {

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
