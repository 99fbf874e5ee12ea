#include "cli/session/left_work.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "cli/terminal/report.hpp"
#include "cli/terminal/suggestion.hpp"
#include "client/address.hpp"
#include "client/left_caches.hpp"
#include "platform/text/url.hpp"

namespace quillon::cli {
namespace {

void tellNote(const LockNote& note) {
    if (!note.text.empty()) {
        complain(
            fmt::format("{}: what you wrote and quillon did not store is in {}; move it or "
                        "delete it, and this is not told again",
                        note.url, note.text.string()));
    }
    if (!note.token.empty()) {
        complain(
            fmt::format("{0}: a lock that quillon could not give back may still be there. To "
                        "unlock it: quillon unlock --mine {1}",
                        note.url, shellWord(note.url)));
    }
}

bool isWithin(const std::string& url, const std::string& collection) {
    return collection.ends_with('/') && url.starts_with(collection) && url != collection;
}

bool isKept(const FoundNote& found) {
    return found.note.kind == LockKind::kept && !found.note.token.empty();
}

// What a person keeps, and knows of, is nothing that was left behind.
bool isLeftBehind(const FoundNote& found) {
    return !found.isAlive && found.note.kind == LockKind::change;
}

}  // namespace

void LeftWork::beginCommand() {
    const std::lock_guard lock(mutex_);
    notes_.reset();
}

std::vector<FoundNote>& LeftWork::notes() {
    if (!notes_) {
        if (!std::exchange(areCachesClear_, true)) files_ = removeLeftCaches();
        Result<std::vector<FoundNote>> found = findAllNotes();
        if (!found) report("look for what was left behind", {}, found.error());
        notes_ = found ? std::move(*found) : std::vector<FoundNote>();
        for (const FoundNote& each : *notes_) std::erase(files_, each.note.text);
    }
    return *notes_;
}

bool isNoteOf(const LockNote& note, const std::string& url, const std::string& token) {
    return !token.empty() && note.token == token && vxhost::sameOrigin(note.url, url);
}

void LeftWork::tell(const std::string& url) {
    const std::lock_guard lock(mutex_);
    if (notes().empty() || !told_.insert(url).second) return;
    for (const FoundNote& found : notes()) {
        if (found.note.url == url && isLeftBehind(found)) tellNote(found.note);
    }
}

void LeftWork::tellAll() {
    const std::lock_guard lock(mutex_);
    // A member may have several notes, so its URL counts as told only after the last of them.
    std::set<std::string> urls;
    for (const FoundNote& found : notes()) {
        // A lock that guards no text is given back by the next command on its server.
        if (!isLeftBehind(found) || found.note.text.empty()) continue;
        if (!told_.contains(found.note.url)) tellNote(found.note);
        urls.insert(found.note.url);
    }
    told_.merge(urls);
    for (const std::filesystem::path& file : std::exchange(files_, {})) {
        complain(
            fmt::format("a quillon that was killed left {}; move it or delete it, and this is "
                        "not told again",
                        file.string()));
    }
}

void LeftWork::clearPlace(const std::filesystem::path& place) {
    const std::lock_guard lock(mutex_);
    if (cleared_.insert(place).second) removeLeftFetches(place);
}

void LeftWork::markTold(const std::string& url) {
    const std::lock_guard lock(mutex_);
    told_.insert(url);
}

std::vector<LockNote> LeftWork::takeLeftLocks(const std::string& origin) {
    const std::lock_guard lock(mutex_);
    std::vector<LockNote> taken;
    if (!takenOrigins_.insert(origin).second) return taken;
    std::set<std::string> urls;
    for (const FoundNote& found : notes()) {
        const Result<Address> address = Address::parse(found.note.url);
        const bool isThere = address && address->origin() == origin;
        if (!isThere || !isLeftBehind(found) || told_.contains(found.note.url)) continue;
        if (found.note.text.empty()) {
            taken.push_back(found.note);
        } else {
            tellNote(found.note);
            urls.insert(found.note.url);
        }
    }
    told_.merge(urls);
    return taken;
}

void LeftWork::untakeLeftLocks(const std::string& origin) {
    const std::lock_guard lock(mutex_);
    takenOrigins_.erase(origin);
}

std::vector<LockNote> LeftWork::findMine(const std::string& url) {
    const std::lock_guard lock(mutex_);
    std::vector<LockNote> mine;
    for (const FoundNote& found : notes()) {
        if (found.isAlive || found.note.token.empty()) continue;
        if (found.note.url != url && !isWithin(found.note.url, url)) continue;
        mine.push_back(found.note);
    }
    return mine;
}

std::vector<FoundNote> LeftWork::findKept(const std::string& url) {
    const std::lock_guard lock(mutex_);
    std::vector<FoundNote> kept;
    for (const FoundNote& found : notes()) {
        if (isKept(found) && found.note.url == url) kept.push_back(found);
    }
    return kept;
}

std::vector<std::string> LeftWork::findKeptWithin(const std::string& collection) {
    const std::lock_guard lock(mutex_);
    std::set<std::string> urls;
    for (const FoundNote& found : notes()) {
        if (isKept(found) && isWithin(found.note.url, collection)) urls.insert(found.note.url);
    }
    return {urls.begin(), urls.end()};
}

std::vector<FoundNote> LeftWork::findNotesOf(const std::string& url, const std::string& token) {
    const std::lock_guard lock(mutex_);
    std::vector<FoundNote> its;
    const auto isIts = [&](const FoundNote& found) { return isNoteOf(found.note, url, token); };
    if (std::ranges::none_of(notes(), isIts)) addNewNotes(notes());
    for (const FoundNote& found : notes()) {
        std::optional<FoundNote> now = isIts(found) ? lookAgain(found) : std::nullopt;
        if (now && isIts(*now)) its.push_back(std::move(*now));
    }
    return its;
}

void LeftWork::noteLockOff(const std::string& url, std::string_view token) {
    const std::lock_guard lock(mutex_);
    for (FoundNote& found : notes()) {
        const bool isHeld = found.isAlive && found.note.kind == LockKind::change;
        if (isHeld || found.note.url != url || found.note.token != token) continue;
        forgetLock(found);
        found.note.token.clear();
    }
}

void LeftWork::noteLockTaken(const std::string& url) {
    const std::lock_guard lock(mutex_);
    for (FoundNote& found : notes()) {
        const bool isNone = found.note.token.empty() && found.note.owner.empty();
        if (found.isAlive || found.note.url != url || isNone) continue;
        forgetLock(found);
        found.note.token.clear();
        found.note.owner.clear();
    }
}

void LeftWork::noteRenewed(const std::string& url, std::string_view token) {
    for (const FoundNote& kept : findKept(url)) {
        if (kept.note.token == token) quillon::noteRenewed(kept);
    }
}

}  // namespace quillon::cli
