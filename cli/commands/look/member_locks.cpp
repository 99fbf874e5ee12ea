#include "cli/commands/look/member_locks.hpp"

#include <algorithm>
#include <utility>

#include "cli/commands/change/lock_text.hpp"
#include "cli/session/own_locks.hpp"
#include "cli/terminal/format.hpp"
#include "platform/text/url.hpp"

namespace quillon::cli {

MemberLocks::MemberLocks(std::optional<std::vector<FoundLock>> found, const std::string& member)
    : areTold_(found.has_value()) {
    if (!found) return;
    for (FoundLock& lock : *found) {
        const bool isItself = lock.segment.empty();
        const std::string name = isItself ? member : vxhost::segmentBytes(lock.segment);
        if (!name.empty()) {
            byName_.try_emplace(name, std::move(lock));
        } else if (lock.isDeep) {
            onAll_ = std::move(lock);
        }
    }
}

const FoundLock* MemberLocks::on(const std::string& name) const {
    const auto found = byName_.find(name);
    if (found != byName_.end()) return &found->second;
    return onAll_ ? &*onAll_ : nullptr;
}

bool OwnNotes::isMine(const FoundLock& lock) {
    if (!notes_) {
        Result<std::vector<FoundNote>> found = findAllNotes();
        notes_ = found ? std::move(*found) : std::vector<FoundNote>();
    }
    return std::ranges::any_of(*notes_, [&](const FoundNote& found) {
        return isNoteOf(found.note, lock.url, lock.token);
    });
}

namespace {

void describeLock(JsonObject& object, const FoundLock& lock, OwnNotes& notes) {
    object.addText("holder", lock.owner);
    if (const auto end = endOf(lock)) object.addText("until", rfc3339(*end));
    object.addFlag("mine", notes.isMine(lock));
}

}  // namespace

void addLock(JsonObject& object, const FoundLock* lock, OwnNotes& notes) {
    object.addFlag("locked", lock != nullptr);
    if (lock != nullptr) describeLock(object, *lock, notes);
}

void addLocks(JsonObject& object, const std::vector<FoundLock>& locks, OwnNotes& notes) {
    addLock(object, locks.empty() ? nullptr : &locks.front(), notes);
    std::vector<JsonObject> all;
    for (const FoundLock& each : locks) {
        JsonObject one;
        describeLock(one, each, notes);
        one.addFlag("shared", each.isShared);
        all.push_back(std::move(one));
    }
    object.addObjects("locks", all);
}

}  // namespace quillon::cli
