#include "cli/commands/move/transfer_one.hpp"

#include <optional>
#include <utility>
#include <vector>

#include "client/remote/held_lock.hpp"
#include "client/remote/holder.hpp"
#include "client/remote/locks_within.hpp"
#include "client/remote/resource.hpp"
#include "client/tree/between.hpp"

namespace quillon::cli {

Error movesNothingLocked() {
    return localError(Kind::refused,
                      "This server moves nothing that is locked, not even under the lock. Take it "
                      "off first: quillon unlock.");
}

Error withForceAdvice(Deed deed, Error error) {
    if (error.kind != Kind::refused || error.httpStatus != 0) return error;
    error.sentences.emplace_back(deed == Deed::copy
                                     ? "--force replaces members, and completes collections."
                                     : "--force replaces members.");
    return error;
}

// The lock of what was moved stayed with the old name, or went with it (RFC 4918, 7.6). What
// becomes of one at the destination is the server's to say (9.8.4).
Task<Result<void>> transferOne(Remote& remote, Deed deed, std::string from, std::string to,
                               Overwrite overwrite, Conditions conditions) {
    Result<std::optional<HeldLock>> ours = std::optional<HeldLock>();
    if (deed == Deed::move && conditions.lockToken.empty()) {
        ours = co_await useOwnLock(remote, from);
        if (!ours) co_return std::move(ours).error();
        if (*ours) conditions.lockToken = (*ours)->token();
    }
    Result<std::optional<HeldLock>> there = co_await useOwnLock(remote, to);
    if (!there) co_return std::move(there).error();
    if (*there) conditions.otherLocks.push_back({to, (*there)->token()});
    const TreeChange change = [&](Conditions all) {
        return deed == Deed::copy ? copy(remote, from, to, overwrite, std::move(all))
                                  : move(remote, from, to, overwrite, std::move(all));
    };
    const bool takesLocks = deed == Deed::move && from.ends_with('/');
    Task<Result<void>> transfer =
        takesLocks ? changeTree(remote, from, conditions, change) : change(conditions);
    Result<void> done = co_await std::move(transfer);
    if (!done) co_return std::move(done);
    if (*there) {
        (*there).reset();
        there = co_await useOwnLock(remote, std::move(to));
    }
    if (*ours) co_return co_await giveBackOwn(remote, std::move(**ours));
    co_return Result<void>();
}

Task<Result<void>> transferTold(Remote& remote, Deed deed, Address from, Address to,
                                Overwrite overwrite, Conditions conditions) {
    const std::string fromUrl = from.url(), toUrl = to.url();
    Result<void> done = co_await transferOne(remote, deed, fromUrl, toUrl, overwrite, conditions);
    if (done) co_return std::move(done);
    Error error = std::move(done).error();
    if (error.httpStatus == 412 && overwrite == Overwrite::no) {
        const bool isWithin = error.kind == Kind::locked;  // and the list of locks was refused
        if (deed == Deed::move && (isWithin || knowsOwnLock(remote, fromUrl))) {
            const Result<std::optional<Resource>> there = co_await look(remote, toUrl);
            if (there && !*there) co_return isWithin ? std::move(error) : movesNothingLocked();
        }
        co_return withForceAdvice(deed, takenAlready());
    }
    std::vector<std::string> urls;
    urls.push_back(toUrl);
    urls.push_back(fromUrl);
    urls.push_back(to.parent().url());
    co_return co_await withHolder(remote, std::move(urls), std::move(error));
}

}  // namespace quillon::cli
