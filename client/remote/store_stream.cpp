#include "client/remote/store_stream.hpp"

#include <fmt/format.h>

#include <utility>
#include <vector>

#include "client/hold.hpp"
#include "client/outcome.hpp"
#include "client/remote/change.hpp"
#include "client/remote/content.hpp"
#include "client/remote/held_lock.hpp"
#include "client/remote/holder.hpp"
#include "client/tree/replace.hpp"
#include "platform/files/content.hpp"

namespace quillon {
namespace {

using vxhost::StreamUpload;
using Found = std::optional<Resource>;

bool isEmpty(const Resource& resource) {
    return !resource.isCollection && resource.size.value_or(0) == 0;
}

// What came of a PUT that failed.
Task<Error> tellSpent(Remote& remote, std::string url, const StreamUpload& content, Found before,
                      Error error) {
    if (!content.isSpent()) co_return std::move(error);
    error.sentences.emplace_back(
        "The input is spent: what makes it has to run again. Without --stream it is kept on disk "
        "first, and sent as often as it takes.");
    const Result<Found> now = co_await look(remote, std::move(url));
    const bool isAsBefore =
        now && now->has_value() == before.has_value() && (!*now || isSameVersion(*before, **now));
    if (now && !isAsBefore) {
        error.sentences.emplace_back(
            "What is there now is not what was there before: perhaps it is a part of the input.");
    }
    co_return std::move(error);
}

// Nobody could send it again, were the server to have stored another size.
Task<Result<void>> requireStored(Remote& remote, std::string url, uint64_t sent) {
    const Result<Found> now = co_await look(remote, std::move(url));
    if (!now || !*now || (*now)->size.value_or(sent) == sent) co_return Result<void>();
    co_return localError(Kind::network,
                         fmt::format("The server took it, but has {} bytes of {} now. The input is "
                                     "spent; fetch what is there, and look at it.",
                                     *(*now)->size, sent));
}

Task<Result<void>> send(Remote& remote, std::string url, StreamUpload& content,
                        Conditions conditions, Found before) {
    Result<Stored> stored = co_await store(remote, url, content, std::move(conditions));
    if (stored) co_return co_await requireStored(remote, std::move(url), content.sent());
    co_return co_await tellSpent(remote, std::move(url), content, std::move(before),
                                 std::move(stored).error());
}

Task<Result<void>> sendUnlocked(Remote& remote, std::string url, StreamUpload& content,
                                StreamWish wish, Found there) {
    Conditions conditions;
    if (!there) {
        conditions.onlyNew = true;
    } else {
        if (there->tag.text.empty() && !there->modified) co_return nothingGuards();
        if (wish.mayReplace) {
            Result<void> may = wish.mayReplace(*there);
            if (!may) co_return std::move(may);
        }
        conditions.tag = there->tag;
        conditions.tagInIf = there->tag.weak;
    }
    Result<void> sent =
        co_await send(remote, std::move(url), content, std::move(conditions), there);
    if (!sent && !there && sent.error().httpStatus == 412) co_return madeMeanwhile();
    co_return std::move(sent);
}

// Under a lock. before: as it was when there was none.
Task<Result<void>> sendLocked(Remote& remote, std::string url, StreamUpload& content,
                              StreamWish wish, Found before, std::string token) {
    const Result<Found> now = co_await look(remote, url);
    if (!now) co_return now.error();
    const bool wasMade = !before && *now && isEmpty(**now);  // by the lock, on some servers
    if (!before && *now && !wasMade) co_return madeMeanwhile();
    Conditions conditions{.lockToken = std::move(token)};
    if (*now) {
        if ((*now)->isCollection) co_return isCollectionThere();
        if (wish.mayReplace && !wasMade) {
            Result<void> may = wish.mayReplace(**now);
            if (!may) co_return std::move(may);
        }
        if (!(*now)->tag.weak) conditions.tag = (*now)->tag;
    }
    Result<void> sent = co_await send(remote, url, content, conditions, *now);
    if (sent || !wasMade) co_return std::move(sent);
    const Result<Found> left = co_await look(remote, url);
    if (left && *left && isEmpty(**left)) {
        conditions.tag = {};
        (void)co_await remove(remote, std::move(url), std::move(conditions));
    }
    co_return std::move(sent);
}

}  // namespace

Result<void> openInput(const Remote& remote, std::unique_ptr<StreamUpload>& input) {
    return caught([&]() -> Result<void> {
        if (input) {
            input->rewind();  // after a login that was refused
            return {};
        }
        const std::filesystem::path standardInput = "/dev/stdin";
        input = std::make_unique<StreamUpload>(
            remote.settings(), vxhost::openForReading(standardInput), standardInput);
        return {};
    });
}

Task<Result<void>> storeStream(Remote& remote, std::string url, StreamUpload& content,
                               StreamWish wish) {
    const Result<Found> there = co_await look(remote, url);
    if (!there) co_return there.error();
    if (*there && (*there)->isCollection) co_return isCollectionThere();
    std::string member = url;
    Result<void> sent;
    if (wish.force) {
        Conditions none{.lockToken = wish.heldToken};
        Result<std::optional<HeldLock>> own = std::optional<HeldLock>();
        if (none.lockToken.empty()) own = co_await useOwnLock(remote, url);
        if (own && *own) none.lockToken = (*own)->token();
        if (own) {
            sent = co_await send(remote, std::move(url), content, std::move(none), *there);
        } else {
            sent = std::move(own).error();
        }
    } else if (!wish.heldToken.empty()) {
        std::string token = wish.heldToken;
        sent = co_await sendLocked(remote, std::move(url), content, std::move(wish), *there,
                                   std::move(token));
    } else {
        Result<HeldLock> lock = co_await takeLock(remote, url, Depth::zero);
        const bool isWithout =
            !lock && (meansNoLocks(lock.error()) || lock.error().httpStatus == 404);
        if (isWithout) {
            sent = co_await sendUnlocked(remote, std::move(url), content, std::move(wish), *there);
        } else if (!lock) {
            sent = std::move(lock).error();
        } else {
            sent = co_await sendLocked(remote, std::move(url), content, std::move(wish), *there,
                                       lock->token());
            Result<void> back = co_await giveBack(remote, std::move(*lock));
            if (!back && sent) {
                sent = std::move(back);
            } else if (!back) {
                Error error = std::move(sent).error();
                error.locks = back.error().locks;
                sent = std::move(error);
            }
        }
    }
    if (sent) co_return std::move(sent);
    co_return co_await withHolderOfMember(remote, std::move(member), std::move(sent).error());
}

}  // namespace quillon
