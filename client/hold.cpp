#include "client/hold.hpp"

#include <exception>

namespace quillon {
namespace {

// The server has locks, but none for this member: the right to it is missing, or names without a
// member cannot be locked.
bool noLockHere(const Error& error) {
    if (error.code != Code::lockFailed) return false;
    switch (error.httpStatus) {
        case 403:
        case 404:
        case 405:
        case 409:
        case 501:
            return true;
    }
    return false;
}

}  // namespace

Error isCollectionThere() {
    return localError(Kind::refused,
                      "This is a collection, which has no content. End its URL with a slash "
                      "to name what is in it.");
}

Error madeMeanwhile() {
    return localError(Kind::changedOnServer,
                      "Somebody else made this member just now; nothing was overwritten. "
                      "Look at it, or choose another name.");
}

Error nothingGuards() {
    return {Kind::changedOnServer,
            Code::unguarded,
            0,
            {"This server neither locks the member nor keeps a date of its last change, "
             "so that a change of somebody else's could be lost; nothing was stored."}};
}

Hold::Hold(Hold&& other) noexcept
    : member_(other.member_),
      properties_(std::move(other.properties_)),
      isNew_(other.isNew_),
      locked_(std::exchange(other.locked_, false)),
      usesOwnLock_(other.usesOwnLock_),
      storedAnew_(other.storedAnew_),
      madeEmpty_(other.madeEmpty_) {}

Hold::~Hold() {
    try {
        (void)release();
    } catch (const std::exception&) {  // no memory, so that nothing can be sent
    }
}

Result<Hold> Hold::take(Member& member, Purpose next) {
    const bool wasMissing = !member.exists();
    const bool lockedBefore = member.locked();
    Hold hold(member);
    if (Result<void> locked = hold.lock(next); !locked) return std::move(locked).error();
    if (Result<void> looked = hold.look(wasMissing, lockedBefore); !looked)
        return std::move(looked).error();
    return hold;
}

Result<void> Hold::lock(Purpose next) {
    if (member_->locked()) return {};
    Result<Protection> protection = member_->lock(next);
    if (protection) {
        usesOwnLock_ = member_->usesOwnLock();
        locked_ = *protection == Protection::lock && !usesOwnLock_;
        return {};
    }
    if (!noLockHere(protection.error())) return std::move(protection).error();
    return member_->noteDate();
}

Result<void> Hold::look(bool wasMissing, bool lockedBefore) {
    // What an earlier lock read is out of date.
    std::optional<Properties> found = lockedBefore ? std::nullopt : member_->lastInfo();
    if (!found) {
        auto inVain = lockedBefore ? std::nullopt : member_->lookTimedOut();
        if (inVain) return std::move(*inVain);
        Result<Properties> asked = member_->info();
        if (!asked) return std::move(asked).error();
        found = std::move(*asked);
    }
    properties_ = std::move(*found);
    if (properties_.exists && properties_.isCollection) {
        return isCollectionThere();
    }
    const bool empty = properties_.size.value_or(0) == 0;
    madeEmpty_ = wasMissing && locked_ && properties_.exists && empty;
    isNew_ = !properties_.exists || madeEmpty_;
    if (wasMissing && !isNew_ && !lockedBefore) {
        return madeMeanwhile();
    }
    return {};
}

Result<void> Hold::store() {
    StoreOptions options;
    const bool underLock = member_->locked();
    options.onlyNew = isNew_ && !underLock;
    options.ifUnchanged = !options.onlyNew;
    Result<void> stored = member_->store(options);
    // The upload looks again only where something changed, and writes what is gone by then.
    if (stored) storedAnew_ = !isNew_ && !member_->exists();
    if (stored) isNew_ = madeEmpty_ = false;
    // An upload that was refused once, and then succeeded, has let go of its lock.
    if (stored && usesOwnLock_ && !member_->locked()) (void)member_->useOwnLock();
    // Without a date a change counts as made; the person shall not look for it in vain.
    const bool counted = !underLock && !properties_.modified;
    if (!stored && stored.error().code == Code::fileLost && counted) {
        return nothingGuards();
    }
    return stored;
}

void Hold::dropEmpty() {
    madeEmpty_ = false;
    const Result<Properties> now = member_->info();
    if (now && now->exists && now->size == 0) (void)member_->remove();
}

Result<void> Hold::release() {
    if (!std::exchange(locked_, false)) return {};
    if (madeEmpty_) dropEmpty();
    Result<void> unlocked = member_->unlock();
    if (!unlocked && lockIsGone(unlocked.error())) return {};
    return unlocked;
}

}  // namespace quillon
