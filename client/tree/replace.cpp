#include "client/tree/replace.hpp"

#include <utility>

#include "client/remote/change.hpp"
#include "client/remote/held_lock.hpp"

namespace quillon {
namespace {

Error changedSince() {
    return localError(Kind::changedOnServer,
                      "Somebody changed it on the server meanwhile; it was left alone.");
}

Task<Result<void>> lookAgain(Remote& remote, std::string url, Resource seen) {
    const Result<std::optional<Resource>> now = co_await look(remote, std::move(url));
    if (!now) co_return now.error();
    if (!*now || !isSameVersion(seen, **now)) co_return changedSince();
    co_return Result<void>();
}

Task<Result<Stored>> storeUnder(Remote& remote, std::string url, std::string token,
                                vxhost::UploadSource& content, Resource seen,
                                std::vector<std::string> extraHeaders) {
    Conditions conditions{.tag = seen.tag, .lockToken = token};
    if (seen.tag.text.empty()) {
        Result<void> same = co_await lookAgain(remote, url, seen);
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
    if (!stored || !stored->version.tag.text.empty()) co_return std::move(stored);
    // Nobody else can have written since.
    const Result<std::optional<Resource>> now = co_await look(remote, std::move(url));
    if (now && *now) {
        stored->version.tag = (*now)->tag;
        stored->version.modified = (*now)->modified;
    }
    co_return std::move(stored);
}

Task<Result<Stored>> storeLocked(Remote& remote, std::string url, vxhost::UploadSource& content,
                                 Resource seen, std::vector<std::string> extraHeaders) {
    Result<HeldLock> lock = co_await takeLock(remote, url, Depth::zero);
    if (!lock) co_return std::move(lock).error();
    Result<Stored> stored = co_await storeUnder(remote, url, lock->token(), content,
                                                std::move(seen), std::move(extraHeaders));
    Result<void> back = co_await giveBack(remote, std::move(*lock));
    if (back) co_return std::move(stored);
    if (stored) co_return std::move(back).error();
    Error error = std::move(stored).error();
    error.locks = back.error().locks;
    co_return std::move(error);
}

}  // namespace

bool isSameVersion(const Resource& seen, const Resource& now) {
    if (seen.isCollection != now.isCollection) return false;
    if (seen.size && now.size && *seen.size != *now.size) return false;
    if (!seen.tag.text.empty() && !now.tag.text.empty()) return seen.tag.text == now.tag.text;
    return seen.modified == now.modified;
}

Task<Result<Stored>> replaceMember(Remote& remote, std::string url, vxhost::UploadSource& content,
                                   Resource seen, Guard guard,
                                   std::vector<std::string> extraHeaders) {
    const bool tagged = !seen.tag.text.empty();
    const bool byMatch = guard == Guard::condition && tagged && !seen.tag.weak;
    const bool byIf = guard == Guard::conditionInIf && tagged;
    if (byMatch || byIf) {
        const Conditions conditions{.tag = seen.tag, .tagInIf = byIf};
        co_return co_await store(remote, std::move(url), content, conditions,
                                 std::move(extraHeaders));
    }
    if (guard == Guard::lock) {
        co_return co_await storeLocked(remote, std::move(url), content, std::move(seen),
                                       std::move(extraHeaders));
    }
    Result<void> same = co_await lookAgain(remote, url, seen);
    if (!same) co_return std::move(same).error();
    const Conditions conditions{.tag = seen.tag, .tagInIf = seen.tag.weak};
    co_return co_await store(remote, std::move(url), content, conditions, std::move(extraHeaders));
}

Task<Result<void>> removeMember(Remote& remote, std::string url, Resource seen, Guard guard) {
    const bool byIf = guard == Guard::conditionInIf;
    Conditions conditions{.tag = seen.tag, .tagInIf = byIf || seen.tag.weak};
    if (guard != Guard::lock) {
        const bool byMatch = guard == Guard::condition && !seen.tag.weak;
        const bool proves = (byMatch || byIf) && !seen.tag.text.empty();
        Result<void> same;
        if (!proves) same = co_await lookAgain(remote, url, std::move(seen));
        if (!same) co_return std::move(same);
        co_return co_await remove(remote, std::move(url), std::move(conditions));
    }
    Result<HeldLock> lock = co_await takeLock(remote, url, Depth::zero);
    if (!lock) co_return std::move(lock).error();
    Result<void> removed = co_await lookAgain(remote, url, std::move(seen));
    if (removed) {
        const Conditions locked{.lockToken = lock->token()};
        removed = co_await remove(remote, url, locked);
        if (removed) co_return std::move(removed);  // the lock went with the member
    }
    Result<void> back = co_await giveBack(remote, std::move(*lock));
    if (back) co_return std::move(removed);
    Error error = std::move(removed).error();
    error.locks = back.error().locks;
    co_return std::move(error);
}

}  // namespace quillon
