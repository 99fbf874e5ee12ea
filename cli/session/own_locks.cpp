#include "cli/session/own_locks.hpp"

#include <fmt/format.h>
#include <unistd.h>

#include <utility>
#include <vector>

#include "cli/terminal/format.hpp"
#include "cli/terminal/report.hpp"
#include "cli/terminal/suggestion.hpp"
#include "client/remote/locks_within.hpp"
#include "platform/http/headers.hpp"
#include "platform/text/url.hpp"

namespace quillon::cli {
namespace {

constexpr std::string_view worksJustNow =
    "It is your own lock, under which another quillon of yours works just now. Try again when that "
    "has ended.";

std::string explanation(const FoundNote& found) {
    const LockNote& note = found.note;
    const std::string unlock = "quillon unlock --mine " + shellWord(note.url);
    if (found.isAlive && note.kind == LockKind::change) {
        return fmt::format(
            "It is your own lock, which a quillon of yours holds that still runs (process {}). "
            "End that first, or wait for its end.",
            note.process);
    }
    if (found.isAlive) return std::string(worksJustNow);
    if (note.kind == LockKind::kept) return "It is your own lock. To take it off: " + unlock;
    return "It is your own lock, left by a quillon that was killed. To take it off: " + unlock;
}

}  // namespace

Error withLocksWithin(LeftWork& notes, const std::string& collection, Error error) {
    const bool isOthers = !error.locks.empty();  // as the server told, when it was asked
    if (mayBeForLockWithin(error) && !isOthers && !notes.findMine(collection).empty()) {
        error.sentences.push_back(
            "A lock of your own is in it. To take it off: quillon unlock --mine " +
            shellWord(collection));
    }
    return error;
}

void OwnLocks::beginCommand() {
    notes_.beginCommand();
    const std::lock_guard lock(mutex_);
    busy_.clear();
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
    const std::vector<FoundNote> notes = notes_.findKept(url);
    const std::lock_guard lock(mutex_);
    const auto found = named_.find(url);
    const std::string named = found == named_.end() ? std::string() : found->second;
    for (const FoundNote& kept : notes) {
        const std::string& token = kept.note.token;
        const bool isOther = !named.empty() && token != named;
        if (isOther || vxhost::parseTokenUri(token) != token) continue;
        if (std::shared_ptr<void> note = useNote(kept)) {
            return use(token, !named.empty(), std::move(note));
        }
        if (!isUsed(token)) busy_.insert(token);
    }
    if (named.empty() || busy_.contains(named)) return std::nullopt;
    if (auto note = uses_[named].lock()) return use(named, true, std::move(note));
    // So that others of this person know of its use. Killed, it leaves what the person named.
    Result<WrittenNote> written =
        WrittenNote::write({url, named, {}, {}, getpid(), LockKind::kept});
    return use(named, true, written ? std::make_shared<WrittenNote>(std::move(*written)) : nullptr);
}

vxhost::OwnLock OwnLocks::use(std::string token, bool isNamed, std::shared_ptr<void> note) {
    uses_.insert_or_assign(token, note);
    return {std::move(token), isNamed, std::move(note)};
}

bool OwnLocks::isUsed(const std::string& token) const {
    const auto found = uses_.find(token);
    return found != uses_.end() && !found->second.expired();
}

std::vector<std::string> OwnLocks::lockedWithin(const std::string& collection) {
    return notes_.findKeptWithin(collection);
}

void OwnLocks::noteUsed(const std::string& url, const std::string& token) {
    notes_.noteRenewed(url, token);
    if (!tellsUse_) return;
    const std::lock_guard lock(mutex_);
    if (told_.insert(url).second) complain(fmt::format("{}: under your own lock", url));
}

void OwnLocks::noteGone(const std::string& url, const std::string& token) {
    notes_.noteLockOff(url, token);
}

void OwnLocks::noteEnded(const std::string& url, const std::string& token) {
    for (const FoundNote& kept : notes_.findKept(url)) {
        if (kept.note.token != token) continue;
        const bool isOver = kept.end && *kept.end <= timeNow();
        const std::string how = isOver ? "ended at " + longDate(kept.end) : "is not there any more";
        complain(fmt::format("the lock of {} {}; going on without it", url, how));
        break;
    }
    notes_.noteLockOff(url, token);
}

std::string OwnLocks::explain(const std::string& url, const std::string& token) {
    std::vector<FoundNote> notes = notes_.findNotesOf(url, token);
    FoundNote* its = nullptr;  // of several, that of a process that runs says more
    for (FoundNote& found : notes) {
        if (!its || (found.isAlive && !its->isAlive)) its = &found;
    }
    const std::lock_guard lock(mutex_);
    // The other one may have ended since.
    if (busy_.contains(token) && !(its && its->isAlive)) return std::string(worksJustNow);
    if (!its) return {};
    its->isAlive = its->isAlive && !isUsed(token);
    return explanation(*its);
}

}  // namespace quillon::cli
