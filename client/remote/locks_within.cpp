#include "client/remote/locks_within.hpp"

#include <optional>
#include <utility>
#include <vector>

#include "client/remote/held_lock.hpp"
#include "platform/base/own_locks.hpp"

namespace quillon {
namespace {

constexpr size_t mostLocks = 64;

std::vector<std::string> lockedWithin(Remote& remote, const std::string& collection) {
    vxhost::OwnLocks* known = remote.settings().ownLocks;
    return known ? known->lockedWithin(collection) : std::vector<std::string>();
}

// Those that are still there and that no other program uses.
Task<Result<std::vector<HeldLock>>> useOwnLocks(Remote& remote, std::vector<std::string> urls) {
    std::vector<HeldLock> held;
    for (std::string& url : urls) {
        Result<std::optional<HeldLock>> own = co_await useOwnLock(remote, std::move(url));
        if (!own) co_return std::move(own).error();
        if (*own) held.push_back(std::move(**own));
    }
    co_return std::move(held);
}

// Of resources that are gone. The first failure is the outcome, with all locks that stay.
Task<Result<void>> takeOffOwnLocks(Remote& remote, std::vector<std::string> urls) {
    vxhost::OwnLocks* known = remote.settings().ownLocks;
    std::optional<Error> failed;
    for (std::string& url : urls) {
        std::optional<vxhost::OwnLock> own = known->find(url);
        if (!own) continue;
        HeldLock lock(std::move(url), std::move(own->token), false, std::move(own->use), true);
        const Result<void> off = co_await giveBackOwn(remote, std::move(lock));
        if (off) continue;
        if (!failed) {
            failed = doneButLocked(off.error());
        } else {
            const std::vector<StrayLock>& more = off.error().locks;
            failed->locks.insert(failed->locks.end(), more.begin(), more.end());
        }
    }
    if (failed) co_return std::move(*failed);
    co_return Result<void>();
}

// Of a server that looks at those locks, but takes no list of them; or something else changed.
Error refusedWithLocks(Error error) {
    error.kind = Kind::locked;
    error.sentences.assign(
        1,
        "A lock in it forbids that, and with the locks of yours in it the server refuses it, "
        "too (412).");
    return error;
}

}  // namespace

bool mayBeForLockWithin(const Error& error) {
    return error.kind == Kind::locked || error.httpStatus == 424;
}

Task<Result<void>> changeTree(Remote& remote, std::string collection, Conditions conditions,
                              TreeChange change) {
    Result<void> done = co_await change(conditions);
    std::vector<std::string> urls = lockedWithin(remote, collection);
    if (!done && mayBeForLockWithin(done.error()) && urls.size() <= mostLocks) {
        Result<std::vector<HeldLock>> own = co_await useOwnLocks(remote, urls);
        if (!own) co_return std::move(own).error();
        for (const HeldLock& lock : *own) {
            conditions.otherLocks.push_back({lock.url(), lock.token()});
        }
        if (!own->empty() && fitIntoHeader(conditions, collection)) {
            done = co_await change(conditions);
            if (!done && done.error().httpStatus == 412) {
                done = refusedWithLocks(std::move(done).error());
            }
        }
    }
    if (!done) co_return std::move(done);
    co_return co_await takeOffOwnLocks(remote, std::move(urls));
}

}  // namespace quillon
