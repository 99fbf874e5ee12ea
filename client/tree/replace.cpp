#include "client/tree/replace.hpp"

#include <utility>

#include "client/memory/file_note.hpp"
#include "client/remote/change.hpp"
#include "client/remote/fetch_hash.hpp"
#include "client/remote/held_lock.hpp"

namespace quillon {
namespace {

Error changedSince() {
    return localError(Kind::changedOnServer,
                      "Somebody changed it on the server meanwhile; it was left alone.");
}

Error madeSince() {
    return localError(Kind::changedOnServer,
                      "Somebody made it on the server meanwhile; it was left alone.");
}

Task<Result<void>> lookAgain(Remote& remote, std::string url, Resource seen) {
    const Result<std::optional<Resource>> now = co_await look(remote, std::move(url));
    if (!now) co_return now.error();
    if (!*now || !isSameVersion(seen, **now)) co_return changedSince();
    co_return Result<void>();
}

// Under a lock, so that it stays what is seen now.
Task<Result<void>> lookUnder(Remote& remote, std::string url, Resource seen, std::string seenHash) {
    Result<void> same = co_await lookAgain(remote, url, seen);
    const bool isCompared = !seenHash.empty() && seen.size.value_or(0) <= worthLooking;
    if (!same || !isCompared) co_return std::move(same);
    const Result<HashedContent> now = co_await fetchHash(remote, std::move(url), seen.size);
    if (!now) co_return now.error();
    if (now->hash != seenHash) co_return changedSince();
    co_return Result<void>();
}

Task<Result<Stored>> storeUnder(Remote& remote, std::string url, std::string token,
                                vxhost::UploadSource& content, Resource seen, Guard guard,
                                std::vector<std::string> extraHeaders, std::string seenHash) {
    Conditions conditions{.tag = seen.tag, .lockToken = token};
    if (guard == Guard::lockAndLook || seen.tag.text.empty()) {
        Result<void> same = co_await lookUnder(remote, url, seen, std::move(seenHash));
        if (!same) co_return std::move(same).error();
    }
    Result<Stored> stored = co_await store(remote, url, content, conditions, extraHeaders);
    if (!stored && stored.error().httpStatus == 412 && seen.tag.weak) {
        // Some servers refuse the weak form of their own tags.
        Result<void> same = co_await lookAgain(remote, url, seen);
        if (!same) co_return std::move(same).error();
        content.rewind();
        conditions.tag = {};
        stored = co_await store(remote, url, content, conditions, std::move(extraHeaders));
    }
    co_return std::move(stored);
}

// What is there now, under the lock, so that it is what was stored. A server that stores something
// else than it was sent tells no tag of it (RFC 9110, 9.3.4).
Task<> lookAtStored(Remote& remote, std::string url, std::optional<uint64_t> sent, Stored* stored) {
    const Result<std::optional<Resource>> now = co_await look(remote, std::move(url));
    if (!now || !*now) co_return;
    stored->version.tag = (*now)->tag;
    stored->version.modified = (*now)->modified;
    stored->isOther = sent && (*now)->size && *(*now)->size != *sent;
}

// What a LOCK made is empty, and was never anybody's.
Task<Result<Stored>> makeUnder(Remote& remote, const HeldLock& lock, vxhost::UploadSource& content,
                               std::vector<std::string> extraHeaders) {
    if (!lock.madeMember()) {
        const Result<std::optional<Resource>> there = co_await look(remote, lock.url());
        if (!there) co_return there.error();
        if (*there) co_return madeSince();
    }
    const Conditions conditions{.lockToken = lock.token()};
    Result<Stored> stored =
        co_await store(remote, lock.url(), content, conditions, std::move(extraHeaders));
    if (!stored && lock.madeMember()) {
        const Result<void> removed = co_await remove(remote, lock.url(), conditions);
        (void)removed;  // the store's failure tells more
    }
    if (stored) stored->isNew = true;  // to the server it replaced what the lock made
    co_return std::move(stored);
}

// seen: nothing of a new one.
Task<Result<Stored>> storeLocked(Remote& remote, std::string url, vxhost::UploadSource& content,
                                 std::optional<Resource> seen, Guard guard,
                                 std::vector<std::string> extraHeaders, std::string seenHash) {
    Result<HeldLock> lock = co_await takeLock(remote, url, Depth::zero);
    if (!lock) co_return std::move(lock).error();
    Result<Stored> stored = Stored{};
    if (seen) {
        stored = co_await storeUnder(remote, url, lock->token(), content, std::move(*seen), guard,
                                     std::move(extraHeaders), std::move(seenHash));
    } else {
        stored = co_await makeUnder(remote, *lock, content, std::move(extraHeaders));
    }
    if (stored && stored->version.tag.text.empty()) {
        co_await lookAtStored(remote, url, content.length(), &*stored);
    }
    if (!stored) co_return co_await giveBackAfter(remote, std::move(*lock), std::move(stored));
    Result<void> back = co_await giveBack(remote, std::move(*lock));
    if (!back) stored->stillLocked = doneButLocked(std::move(back).error());
    co_return std::move(stored);
}

}  // namespace

bool isLock(Guard guard) {
    return guard == Guard::lock || guard == Guard::lockAndLook;
}

Guard preferOwnLock(const Remote& remote, const std::string& url, Guard guard) {
    if (isLock(guard) || !knowsOwnLock(remote, url)) return guard;
    return guard == Guard::look ? Guard::lockAndLook : Guard::lock;
}

bool isSameVersion(const Resource& seen, const Resource& now) {
    if (seen.isCollection != now.isCollection) return false;
    if (seen.size && now.size && *seen.size != *now.size) return false;
    if (!seen.tag.text.empty() && !now.tag.text.empty()) return seen.tag.text == now.tag.text;
    return seen.modified == now.modified;
}

Task<Result<Stored>> replaceMember(Remote& remote, std::string url, vxhost::UploadSource& content,
                                   Resource seen, Guard guard,
                                   std::vector<std::string> extraHeaders, std::string seenHash) {
    const bool tagged = !seen.tag.text.empty();
    const bool byMatch = guard == Guard::condition && tagged && !seen.tag.weak;
    const bool byIf = guard == Guard::conditionInIf && tagged;
    if (byMatch || byIf) {
        const Conditions conditions{.tag = seen.tag, .tagInIf = byIf};
        co_return co_await store(remote, std::move(url), content, conditions,
                                 std::move(extraHeaders));
    }
    if (isLock(guard)) {
        std::optional<Resource> something(std::move(seen));
        co_return co_await storeLocked(remote, std::move(url), content, std::move(something), guard,
                                       std::move(extraHeaders), std::move(seenHash));
    }
    Result<void> same = co_await lookAgain(remote, url, seen);
    if (!same) co_return std::move(same).error();
    const Conditions conditions{.tag = seen.tag, .tagInIf = seen.tag.weak};
    co_return co_await store(remote, std::move(url), content, conditions, std::move(extraHeaders));
}

Task<Result<Stored>> makeMember(Remote& remote, std::string url, vxhost::UploadSource& content,
                                Guard guard, std::vector<std::string> extraHeaders) {
    if (isLock(guard)) {
        std::optional<Resource> nothing;
        std::string noHash;
        co_return co_await storeLocked(remote, std::move(url), content, std::move(nothing), guard,
                                       std::move(extraHeaders), std::move(noHash));
    }
    if (guard == Guard::look) {
        const Result<std::optional<Resource>> there = co_await look(remote, url);
        if (!there) co_return there.error();
        if (*there) co_return madeSince();
    }
    const Conditions nothingThere{.onlyNew = true};
    co_return co_await store(remote, std::move(url), content, nothingThere,
                             std::move(extraHeaders));
}

Task<Result<void>> removeMember(Remote& remote, std::string url, Resource seen, Guard guard,
                                std::string seenHash) {
    const bool byIf = guard == Guard::conditionInIf;
    Conditions conditions{.tag = seen.tag, .tagInIf = byIf || seen.tag.weak};
    if (!isLock(guard)) {
        const bool byMatch = guard == Guard::condition && !seen.tag.weak;
        const bool proves = (byMatch || byIf) && !seen.tag.text.empty();
        Result<void> same;
        if (!proves) same = co_await lookAgain(remote, url, std::move(seen));
        if (!same) co_return std::move(same);
        co_return co_await remove(remote, std::move(url), std::move(conditions));
    }
    Result<HeldLock> lock = co_await takeLock(remote, url, Depth::zero);
    if (!lock) co_return std::move(lock).error();
    Result<void> removed = co_await lookUnder(remote, url, std::move(seen), std::move(seenHash));
    if (removed) {
        const Conditions locked{.lockToken = lock->token()};
        removed = co_await remove(remote, url, locked);
        if (removed && lock->isOwn()) co_return co_await giveBackOwn(remote, std::move(*lock));
    }
    co_return co_await giveBackAfter(remote, std::move(*lock), std::move(removed));
}

}  // namespace quillon
