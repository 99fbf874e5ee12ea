#include "client/remote/held_lock.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include "platform/base/own_locks.hpp"
#include "platform/base/status.hpp"
#include "platform/files/random_name.hpp"
#include "platform/http/headers.hpp"
#include "platform/markup/serialize.hpp"
#include "platform/text/http_status.hpp"
#include "platform/weblnk/active_lock.hpp"
#include "platform/weblnk/requests.hpp"

namespace quillon {
namespace {

using vxhost::Answer;
using vxhost::Request;

constexpr uint32_t timeoutSeconds = 2 * 3600;  // as long as a large content may take

std::string timeoutLine() {
    return fmt::format("Timeout: Second-{}", timeoutSeconds);
}

// RFC 4918, 9.10.2.
Request renewal(std::string url, const std::string& token) {
    Request request;
    request.method = "LOCK";
    request.url = std::move(url);
    request.policy = vxhost::changing;
    request.headers = {fmt::format("If: (<{}>)", token), timeoutLine()};
    return request;
}

Request lockRequest(std::string url, Depth depth, const std::string& owner) {
    Request request;
    request.method = "LOCK";
    request.url = std::move(url);
    request.policy = vxhost::locking;
    request.headers = {depth == Depth::zero ? "Depth: 0" : "Depth: infinity", timeoutLine()};
    request.document = fmt::format(
        "<?xml version=\"1.0\" encoding=\"utf-8\"?><D:lockinfo xmlns:D=\"DAV:\">"
        "<D:lockscope><D:exclusive/></D:lockscope><D:locktype><D:write/></D:locktype>"
        "<D:owner>{}</D:owner></D:lockinfo>",
        vxhost::escapeXml(owner));
    return request;
}

Request unlockRequest(std::string url, const std::string& token) {
    Request request;
    request.method = "UNLOCK";
    request.url = std::move(url);
    request.policy = vxhost::locking;
    request.headers = {fmt::format("Lock-Token: <{}>", token)};
    return request;
}

std::string tokenOf(const Answer& answer, const std::string& owner) {
    std::string token = vxhost::parseLockToken(answer.headers.first("Lock-Token"));
    if (!token.empty()) return token;
    for (const auto& lock : vxhost::parseActiveLocks(answer.text)) {
        if (lock.owner == owner) return vxhost::parseTokenUri(lock.token);
    }
    return {};
}

bool mayHaveArrived(const Error& error) {
    const auto status = static_cast<vxhost::Status>(error.code);
    return error.kind == Kind::interrupted || status == vxhost::WEBLNK_CUT_OFF ||
           status == vxhost::WEBLNK_TIMED_OUT || status == vxhost::WEBLNK_BAD_ANSWER;
}

// A proxy's word as often as the server's, which may have granted the lock.
bool mayHideALock(int status) {
    return status >= 500 || status == 408 || status == 429;
}

Task<Result<void>> unlock(Remote& remote, std::string url, std::string token) {
    for (bool again = false;; again = true) {
        Request request = unlockRequest(url, token);
        Result<Answer> answer = co_await remote.send(std::move(request));
        if (answer) {
            // Where there is no such lock any more (9.11.1), there is none to give back.
            const int status = answer->status;
            const bool gone = status == 404 || status == 409 || status == 412 || status == 400;
            if (vxhost::isSuccess(status) || gone) co_return Result<void>();
            Error error = refusal(*answer);
            error.locks.push_back({url, token, true});
            co_return std::move(error);
        }
        // Done twice it is done: the second time the server has no such lock.
        if (!again && mayHaveArrived(answer.error())) continue;
        Error error = std::move(answer).error();
        error.locks.push_back({url, token, true});
        co_return std::move(error);
    }
}

// After a LOCK whose outcome nobody knows. Gives the error with what may stay.
Task<Error> lookForLost(Remote& remote, std::string url, std::string owner, Error error) {
    const Result<bool> back = co_await giveBackOf(remote, std::move(url), std::move(owner));
    if (!back && back.error().locks.empty()) {
        error.sentences.emplace_back("It may be locked now, by a lock whose token did not come.");
    } else if (!back) {
        error.locks = back.error().locks;
    }
    co_return std::move(error);
}

// Whether the lock is off for which the renewal was refused.
Task<bool> isGone(Remote& remote, std::string url, std::string token, int refused) {
    Result<Answer> asked = co_await remote.send(vxhost::propertyRequest(url, "lockdiscovery"));
    if (!asked) co_return vxhost::saysNoLock(refused);
    const bool isTold = asked->status == 207;
    const vxhost::PropertyAnswer told{asked->status, isTold ? asked->text : std::string()};
    co_return !vxhost::mayStillBeThere(told, token, refused);
}

}  // namespace

Task<Result<std::optional<HeldLock>>> useOwnLock(Remote& remote, std::string url) {
    vxhost::OwnLocks* known = remote.settings().ownLocks;
    std::optional<vxhost::OwnLock> own = known ? known->find(url) : std::nullopt;
    if (!own) co_return std::optional<HeldLock>();
    Request request = renewal(url, own->token);
    const Result<Answer> answer = co_await remote.send(std::move(request));
    if (!answer) co_return answer.error();
    if (vxhost::isSuccess(answer->status)) {
        known->noteUsed(url, own->token);
        HeldLock lock(std::move(url), std::move(own->token), false, std::move(own->use), true);
        co_return std::optional(std::move(lock));
    }
    const bool gone = co_await isGone(remote, url, own->token, answer->status);
    if (gone && own->isNamed) known->noteGone(url, own->token);
    if (gone && !own->isNamed) known->noteEnded(url, own->token);
    Error error = refusal(*answer);
    // No other lock is granted beside one that is there.
    if (!gone && vxhost::saysFailure(answer->status)) {
        error.sentences.emplace(error.sentences.begin(), vxhost::ownLockNotRenewed);
        co_return std::move(error);
    }
    if (!own->isNamed) co_return std::optional<HeldLock>();
    if (vxhost::refusesToken(answer->status)) {
        error = localError(Kind::notFound, vxhost::statusText(vxhost::WEBLNK_NO_SUCH_LOCK));
        error.code = Code::noSuchLock;
    }
    co_return std::move(error);
}

bool knowsOwnLock(const Remote& remote, const std::string& url) {
    vxhost::OwnLocks* known = remote.settings().ownLocks;
    return known && known->find(url);
}

Task<Result<HeldLock>> takeLock(Remote& remote, std::string url, Depth depth) {
    if (depth == Depth::zero) {
        Result<std::optional<HeldLock>> own = co_await useOwnLock(remote, url);
        if (!own) co_return std::move(own).error();
        if (*own) co_return std::move(**own);
    }
    const std::string owner = fmt::format("quillon {}", vxhost::randomName());
    const auto& watch = remote.settings().watchLock;
    const std::shared_ptr<void> underWay = watch ? watch(url, {}, owner) : nullptr;
    Request request = lockRequest(url, depth, owner);
    Result<Answer> answer = co_await remote.send(std::move(request));
    if (!answer) {
        if (!mayHaveArrived(answer.error())) co_return std::move(answer).error();
        co_return co_await lookForLost(remote, url, owner, std::move(answer).error());
    }
    if (!vxhost::isSuccess(answer->status) || answer->status == 207) {
        Error error = refusal(*answer);
        if (answer->status == 207) {
            error.kind = Kind::locked;
            error.sentences = {"Something in it is locked."};
        }
        if (!mayHideALock(answer->status)) co_return std::move(error);
        co_return co_await lookForLost(remote, url, owner, std::move(error));
    }
    std::string token = tokenOf(*answer, owner);
    if (token.empty()) {
        Error error = localError(Kind::network, "The server granted a lock without its token.");
        co_return co_await lookForLost(remote, url, owner, std::move(error));
    }
    std::shared_ptr<void> held = watch ? watch(url, token, owner) : nullptr;
    co_return HeldLock(std::move(url), std::move(token), answer->status == 201, std::move(held));
}

bool meansNoLocks(const Error& refused) {
    const bool isRefusal = refused.kind == Kind::refused || refused.httpStatus == 501;
    return isRefusal && refused.locks.empty();
}

Task<Result<void>> giveBack(Remote& remote, HeldLock lock) {
    if (lock.isOwn()) co_return Result<void>();
    co_return co_await unlock(remote, lock.url(), lock.token());
}

Error doneButLocked(Error notGivenBack) {
    notGivenBack.sentences.insert(
        notGivenBack.sentences.begin(),
        "It is done, but the lock that it was done under could not be given back: until that is "
        "taken off or has run out, nobody else can change it.");
    return notGivenBack;
}

Task<Result<void>> giveBackOwn(Remote& remote, HeldLock lock) {
    Result<void> back = co_await unlock(remote, lock.url(), lock.token());
    vxhost::OwnLocks* known = remote.settings().ownLocks;
    if (back && known) known->noteGone(lock.url(), lock.token());
    co_return std::move(back);
}

Task<Result<bool>> giveBackOf(Remote& remote, std::string url, std::string owner) {
    Request ask = vxhost::propertyRequest(url, "lockdiscovery");
    ask.policy = vxhost::lookingAtTheEnd;
    Result<Answer> answer = co_await remote.send(std::move(ask));
    if (!answer) co_return std::move(answer).error();
    if (answer->status == 404) co_return false;  // and no lock either
    if (!vxhost::isSuccess(answer->status)) co_return refusal(*answer);
    for (const auto& lock : vxhost::parseActiveLocks(answer->text)) {
        if (lock.owner != owner) continue;
        std::string token = vxhost::parseTokenUri(lock.token);
        Result<void> back = co_await unlock(remote, url, std::move(token));
        if (!back) co_return std::move(back).error();
        co_return true;
    }
    co_return false;
}

}  // namespace quillon
