#include "platform/weblnk/lock.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "platform/base/journal.hpp"
#include "platform/base/logger.hpp"
#include "platform/base/slots.hpp"
#include "platform/base/status.hpp"
#include "platform/base/transcoder.hpp"
#include "platform/http/exchange.hpp"
#include "platform/http/repeats.hpp"
#include "platform/markup/serialize.hpp"
#include "platform/weblnk/active_lock.hpp"
#include "platform/weblnk/client.hpp"
#include "platform/weblnk/operate.hpp"
#include "platform/weblnk/properties.hpp"

namespace vxhost {
namespace {

// An hour in an editor sends no request that could renew the lock.
constexpr uint32_t defaultTimeout = 2 * 3600;

std::optional<uint32_t> finite(std::optional<uint32_t> timeout) {
    return timeout == vx::LOCK_TIMEOUT_INFINITE ? std::nullopt : timeout;
}

std::string timeoutHeader(uint32_t seconds) {
    if (seconds == vx::LOCK_TIMEOUT_INFINITE) return "Timeout: Infinite, Second-4294967295";
    return fmt::format("Timeout: Second-{}", seconds);
}

uint32_t wantedTimeout(const vx::LockBlock& block) {
    const bool own = (block.flags & vx::LOCK_BLOCK_DEFAULTS) || block.timeoutSeconds == 0;
    return own ? defaultTimeout : block.timeoutSeconds;
}

std::string ownerOf(const vx::LockParms& parms) {
    return shownUtf8({parms.owner, parms.owner ? parms.ownerLength : 0});
}

std::string lockInfo(const std::string& owner, std::string_view scope) {
    return fmt::format(
        "<?xml version=\"1.0\" encoding=\"utf-8\"?><D:lockinfo xmlns:D=\"DAV:\">"
        "<D:lockscope><D:{}/></D:lockscope><D:locktype><D:write/></D:locktype>"
        "<D:owner>{}</D:owner></D:lockinfo>",
        scope, escapeXml(owner));
}

// The token's header is the one thing that a server must send (RFC 4918, 9.10.1); the body tells
// the timeout, and the token to those who forget the header.
std::unique_ptr<HeldLock> grantedLock(std::shared_ptr<Target> target, const Answer& answer) {
    std::string token = parseLockToken(answer.headers.first("Lock-Token"));
    const auto locks = parseActiveLocks(answer.text);
    auto ours = std::find_if(locks.begin(), locks.end(), [&token](const ActiveLock& lock) {
        return token.empty() ? !lock.token.empty() : lock.token == token;
    });
    if (token.empty() && ours != locks.end()) token = parseTokenUri(ours->token);
    if (token.empty()) return nullptr;
    const auto timeout = ours == locks.end() ? std::nullopt : ours->timeout;
    return std::make_unique<HeldLock>(std::move(target), std::move(token), timeout);
}

std::unique_ptr<HeldLock> adoptedLock(std::shared_ptr<Target> target, const vx::LockBlock& block) {
    std::string token = parseTokenUri({block.token, block.tokenLength});
    if (token.empty()) throw Failure(vx::VX_INVALID_ARGUMENT, "This is no lock token.");
    return std::make_unique<HeldLock>(std::move(target), std::move(token), std::nullopt);
}

// After a refused UNLOCK. Servers have many words for a lock that has ended.
bool mayStillBeHeld(const HeldLock& lock, int32_t refusal) {
    if (refusal == 404 || refusal == 409 || refusal == 412) return false;  // RFC 4918, 9.11.1
    try {
        const PropertyAnswer answer = askProperty(*lock.target, "lockdiscovery", true);
        if (answer.multistatus.empty()) return answer.status != 404;
        const auto locks = parseActiveLocks(answer.multistatus);
        return std::any_of(locks.begin(), locks.end(), [&lock](const ActiveLock& active) {
            return active.token.empty() || active.token == lock.token;
        });
    } catch (const Failure&) {
        return true;
    }
}

Request unlockRequest(const Target& target, const std::string& token) {
    Request request = requestFor(target, "UNLOCK");
    request.headers = {fmt::format("Lock-Token: <{}>", token)};
    request.uninterrupted = true;
    return request;
}

void tellLockLeft(const Target& target, vx::Journal* journal, std::string_view token,
                  std::string_view why) {
    if (why.ends_with('.')) why.remove_suffix(1);
    journalSentence(journal, vx::JOURNAL_FAILURE,
                    fmt::format("{} stays locked ({}).", target.url, why));
    if (target.settings.strayLock) target.settings.strayLock({target.url, token, true});
}

bool mayHaveArrived(Status failure) {
    return failure == WEBLNK_CUT_OFF || failure == WEBLNK_TIMED_OUT ||
           failure == WEBLNK_BAD_ANSWER || failure == WEBLNK_INTERRUPTED;
}

// A LOCK whose answer was lost may have been done; its token then stands in the properties. Nothing
// but the owner tells the lock from those of others, so that a person must decide.
void tellLocksOf(const Target& target, const std::string& owner, vx::Journal* journal) noexcept {
    guarded(WEBLNK_BAD_ANSWER, [&]() -> Status {
        for (const auto& lock :
             parseActiveLocks(askProperty(target, "lockdiscovery", true).multistatus)) {
            if (lock.token.empty() || (!lock.owner.empty() && lock.owner != owner)) continue;
            tellLockLeft(target, journal, lock.token, "the answer to LOCK was lost");
        }
        return vx::VX_SUCCESS;
    });
}

Answer sendLock(const Target& target, const vx::LockParms& parms, vx::Journal* journal) {
    const std::string owner = ownerOf(parms);
    Request request = requestFor(target, "LOCK");
    request.headers = {"Depth: 0", timeoutHeader(wantedTimeout(parms.block))};
    request.document = lockInfo(owner, parms.option == 0 ? "shared" : "exclusive");
    request.uninterrupted = true;
    try {
        return exchange(target, std::move(request));
    } catch (const Failure& failure) {
        if (mayHaveArrived(failure.status())) tellLocksOf(target, singleBlanks(owner), journal);
        throw;
    }
}

std::shared_ptr<void> watchLock(const Target& target, const std::string& token) {
    return target.settings.watchLock ? target.settings.watchLock(target.url, token) : nullptr;
}

// A holder whose PUT answered 412 takes its lock for lost and asks for another one. When it was the
// entity tag that did not fit, the old lock is still there and in the way of the new one.
Answer askForLock(Target& target, const vx::LockParms& parms, vx::Journal* journal) {
    const std::string forsaken = std::exchange(target.forsakenToken, {});
    Answer answer = sendLock(target, parms, journal);
    if (answer.status != 423 || forsaken.empty()) return answer;
    if (!isSuccess(exchange(target, unlockRequest(target, forsaken)).status)) return answer;
    return sendLock(target, parms, journal);
}

}  // namespace

HeldLock::HeldLock(std::shared_ptr<Target> held, std::string itsToken,
                   std::optional<uint32_t> timeout)
    : target(std::move(held)), token(std::move(itsToken)) {
    fillSlots<vx::LockObject>(*this);
    Destroy = [](vx::LockObject* self) noexcept -> Status {
        delete static_cast<HeldLock*>(self);
        return vx::VX_SUCCESS;
    };
    InstUnlock = [](vx::LockObject* self, int32_t* status) noexcept {
        auto& lock = *static_cast<HeldLock*>(self);
        return operate(lock.target->settings, nullptr, status, [&] { lock.unlock(*status); });
    };
    granted(timeout);
    watch_ = watchLock(*target, token);
    target->locks.push_back(this);
}

HeldLock::~HeldLock() {
    std::erase(target->locks, this);
    if (!given_) target->forsakenToken = token;
}

void HeldLock::granted(std::optional<uint32_t> timeout) {
    timeout_ = finite(timeout);
    since_ = retry_ = Clock::now();
}

std::chrono::seconds HeldLock::reserve() const {
    return std::chrono::seconds(std::max(*timeout_ / 3, std::min(60u, *timeout_ / 2)));
}

bool HeldLock::nearItsEnd() const {
    if (!timeout_) return false;
    const auto now = Clock::now();
    return now >= retry_ && now - since_ >= std::chrono::seconds(*timeout_) - reserve();
}

std::string HeldLock::condition() const {
    return fmt::format("If: (<{}>)", token);
}

std::string HeldLock::taggedCondition() const {
    return fmt::format("If: <{}> (<{}>)", target->url, token);
}

void HeldLock::refresh() {
    if (timeout_) retry_ = Clock::now() + reserve() / 8;
    Request request = requestFor(*target, "LOCK");
    request.headers = {condition(), timeoutHeader(timeout_.value_or(defaultTimeout))};
    const Answer answer = exchange(*target, std::move(request));
    if (!isSuccess(answer.status)) {
        throw Failure(WEBLNK_REFUSED, fmt::format("LOCK {}: not renewed, the server answered {}",
                                                  target->url, answer.status));
    }
    for (const auto& lock : parseActiveLocks(answer.text)) {
        if (lock.token == token && lock.timeout) return granted(lock.timeout);
    }
    granted(timeout_);
}

void HeldLock::unlock(int32_t& status) {
    given_ = true;
    try {
        status = exchange(*target, unlockRequest(*target, token)).status;
    } catch (const Failure& failure) {
        tellLockLeft(*target, target->journal, token, failure.what());
        throw;
    }
    if (!isSuccess(status) && mayStillBeHeld(*this, status)) {
        tellLockLeft(*target, target->journal, token,
                     fmt::format("the server answered {}", status));
    }
}

void refreshLocks(Target& target) {
    for (HeldLock* lock : target.locks) {
        if (!lock->nearItsEnd()) continue;
        try {
            lock->refresh();
        } catch (const Failure& failure) {
            if (failure.status() == WEBLNK_INTERRUPTED) throw;
            logLine(target.logger, vx::LOG_FAILURE, failure.what());
        }
    }
}

vx::LockObject* lock(CurlClient& client, const vx::LockParms& parms, int32_t& status,
                     vx::Journal* journal) {
    const auto& target = client.target;
    const bool defaults = parms.block.flags & vx::LOCK_BLOCK_DEFAULTS;
    if (!defaults && (parms.block.flags & vx::LOCK_BLOCK_ADOPT)) {
        auto adopted = adoptedLock(target, parms.block);
        status = 200;
        return adopted.release();
    }
    throwIfInterrupted(target->settings);
    const auto watch = watchLock(*target, {});  // until the lock itself is watched
    const Answer answer = askForLock(*target, parms, journal);
    status = statusOfChange(answer);
    if (status == 423) tellHolder(*target, journal, answer);
    if (!isSuccess(status)) return nullptr;
    auto held = grantedLock(target, answer);
    if (!held) {
        journalSentence(journal, vx::JOURNAL_FAILURE,
                        fmt::format("LOCK {}: the server answered {} without a lock token, so "
                                    "nothing can be done under this lock.",
                                    target->url, status));
    }
    return held.release();
}

}  // namespace vxhost
