#include "client/tree/left_over_here.hpp"

#include <algorithm>
#include <utility>

#include "client/tree/known_file.hpp"
#include "platform/text/url.hpp"

namespace quillon {

void LeftOverHere::note(const WalkedCollection& walked, const ScannedEntry& entry) {
    const std::string path = walked.path.empty() ? entry.name : walked.path + '/' + entry.name;
    if (entry.unfit == Unfit::unfinished) {
        options_.tell({TreeDeed::skipped,
                       path,
                       {},
                       {},
                       localError(Kind::local, std::string(whyUnfit(entry.unfit)))});
    }
    if (entry.unfit != Unfit::none) return;
    if (!options_.filter.takes(path, entry.entry.kind == LocalKind::folder)) return;
    entries_.push_back({path, walked.url + vxhost::encodeSegment(entry.name), entry.entry});
}

void LeftOverHere::remove() {
    const auto known = [this](const Entry& each) { return wasOnBothSides(each); };
    const auto unknown =
        entries_.size() - static_cast<size_t>(std::ranges::count_if(entries_, known));
    removesUnknown_ = options_.remove && unknown > 0 && options_.mayRemoveUnknown &&
                      options_.mayRemoveUnknown(unknown);
    for (const Entry& each : entries_) {
        if (each.entry.kind == LocalKind::folder) {
            removeFolder(each);
        } else {
            removeFile(each);
        }
    }
}

// Whether everything in it went.
bool LeftOverHere::removeFolder(const Entry& folder) {
    const std::string place = options_.placeOf(folder.path);
    const Result<std::vector<ScannedEntry>> found = folder_.scan(place, options_.links);
    if (!found) {
        tellFailure(folder, found.error());
        return false;
    }
    bool allWent = true;
    for (const ScannedEntry& entry : *found) {
        const Entry each{folder.path + '/' + entry.name,
                         folder.url + '/' + vxhost::encodeSegment(entry.name), entry.entry};
        const bool isFolder = entry.entry.kind == LocalKind::folder;
        const bool counts =
            entry.unfit == Unfit::none && options_.filter.takes(each.path, isFolder);
        const bool went = counts && (isFolder ? removeFolder(each) : removeFile(each));
        allWent = allWent && went;
    }
    if (!options_.remove || !allWent) return false;
    const Result<void> removed = options_.dryRun ? Result<void>() : folder_.removeFolder(place);
    if (removed) {
        options_.tell({TreeDeed::removed, folder.path, folder.url, {}, {}, true});
    } else {
        tellFailure(folder, removed.error());
    }
    return bool(removed);
}

bool LeftOverHere::removeFile(const Entry& file) {
    const bool known = removesUnknown_ || wasOnBothSides(file);
    if (!options_.remove || !known) {
        options_.tell({TreeDeed::leftOver, file.path, file.url});
        return false;
    }
    const std::string place = options_.placeOf(file.path);
    const Result<void> removed =
        options_.dryRun ? Result<void>() : folder_.removeFile(place, file.entry);
    if (removed) {
        if (options_.memory && !options_.dryRun) options_.memory->forget(folder_.shown(place));
        options_.tell({TreeDeed::removed, file.path, file.url});
    } else {
        tellFailure(file, removed.error());
    }
    return bool(removed);
}

// And has not changed here since.
bool LeftOverHere::wasOnBothSides(const Entry& file) const {
    const std::string place = options_.placeOf(file.path);
    const auto note = noteAbout(options_.memory, folder_, place, file.url);
    return note &&
           (isUnchanged(*note, file.entry) || hasNotedHash(folder_, place, Links::left, *note));
}

void LeftOverHere::tellFailure(const Entry& entry, const Error& error) const {
    options_.tell({TreeDeed::failed, entry.path, entry.url, {}, error});
}

}  // namespace quillon
