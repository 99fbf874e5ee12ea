#include "cli/session/own_locks.hpp"

#include <fmt/format.h>

#include <utility>
#include <vector>

#include "cli/terminal/report.hpp"
#include "cli/terminal/suggestion.hpp"
#include "platform/http/headers.hpp"
#include "platform/text/url.hpp"

namespace quillon::cli {
namespace {

std::string explanation(const FoundNote& found) {
    const LockNote& note = found.note;
    const std::string unlock = "quillon unlock --mine " + shellWord(note.url);
    if (found.isAlive && note.kind == LockKind::change) {
        return fmt::format(
            "It is your own lock, which a quillon of yours holds that still runs (process {}). "
            "End that first.",
            note.process);
    }
    if (found.isAlive) {
        return "It is your own lock, under which another quillon of yours works just now. Try "
               "again when that has ended.";
    }
    if (note.kind == LockKind::kept) return "It is your own lock. To take it off: " + unlock;
    return "It is your own lock, left by a quillon that was killed. To take it off: " + unlock;
}

}  // namespace

bool isNoteOf(const LockNote& note, const std::string& url, const std::string& token) {
    return !token.empty() && note.token == token && vxhost::sameOrigin(note.url, url);
}

Error withLocksWithin(LeftWork& notes, const std::string& collection, Error error) {
    const bool isIt = error.kind == Kind::locked || error.httpStatus == 424;
    if (isIt && !notes.findMine(collection).empty()) {
        error.sentences.push_back(
            "A lock of your own is in it. To take it off: quillon unlock --mine " +
            shellWord(collection));
    }
    return error;
}

void OwnLocks::name(const std::string& url, std::string token) {
    const std::lock_guard lock(mutex_);
    named_.insert_or_assign(url, std::move(token));
}

void OwnLocks::forgetNames() {
    const std::lock_guard lock(mutex_);
    named_.clear();
}

std::optional<vxhost::OwnLock> OwnLocks::find(const std::string& url) {
    std::string named;
    {
        const std::lock_guard lock(mutex_);
        if (const auto found = named_.find(url); found != named_.end()) named = found->second;
    }
    for (const FoundNote& kept : notes_.findKept(url)) {
        const bool isOther = !named.empty() && kept.note.token != named;
        if (isOther || vxhost::parseTokenUri(kept.note.token) != kept.note.token) continue;
        std::shared_ptr<void> use = useNote(kept);
        if (use) return vxhost::OwnLock{kept.note.token, !named.empty(), std::move(use)};
    }
    if (named.empty()) return std::nullopt;
    return vxhost::OwnLock{std::move(named), true, nullptr};
}

void OwnLocks::noteUsed(const std::string& url) {
    if (!tellsUse_) return;
    const std::lock_guard lock(mutex_);
    if (told_.insert(url).second) complain(fmt::format("{}: under your own lock", url));
}

void OwnLocks::noteGone(const std::string& url, const std::string& token) {
    notes_.noteLockOff(url, token);
}

std::string OwnLocks::explain(const std::string& url, const std::string& token) {
    const Result<std::vector<FoundNote>> notes = findAllNotes();
    if (!notes) return {};
    const FoundNote* its = nullptr;  // of several, that of a process that runs says more
    for (const FoundNote& found : *notes) {
        if (!isNoteOf(found.note, url, token)) continue;
        if (!its || (found.isAlive && !its->isAlive)) its = &found;
    }
    return its ? explanation(*its) : std::string();
}

}  // namespace quillon::cli
