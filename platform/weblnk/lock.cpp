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
#include "platform/weblnk/expecting.hpp"
#include "platform/weblnk/operate.hpp"
#include "platform/weblnk/properties.hpp"
#include "platform/weblnk/requests.hpp"

namespace vxhost {
namespace {

// An hour in an editor sends no request that could renew the lock.
constexpr uint32_t defaultTimeout = 2 * 3600;

// A server that grants no time at all still wants to be asked now and then, not each time.
constexpr std::chrono::seconds pauseWithoutTime{60};

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

// The lock that the answer describes as ours, or null. An exclusive one is alone; where several
// share a member, only the owner tells.
const ActiveLock* findOurs(const std::vector<ActiveLock>& locks, std::string_view token,
                           const vx::LockParms& parms) {
    const bool alone = parms.option != 0 && locks.size() == 1;
    const std::string owner = singleBlanks(ownerOf(parms));
    const auto ours = [&](const ActiveLock& lock) {
        if (!token.empty()) return lock.token == token;
        return !lock.token.empty() && (alone || lock.owner == owner);
    };
    const auto found = std::find_if(locks.begin(), locks.end(), ours);
    return found == locks.end() ? nullptr : &*found;
}

// The token's header is the one thing that a server must send (RFC 4918, 9.10.1); the body tells
// the timeout, and the token to those who forget the header.
std::unique_ptr<HeldLock> grantedLock(std::shared_ptr<Target> target, const Answer& answer,
                                      const vx::LockParms& parms) {
    std::string token = parseLockToken(answer.headers.first("Lock-Token"));
    const auto locks = parseActiveLocks(answer.text);
    const ActiveLock* ours = findOurs(locks, token, parms);
    if (token.empty() && ours) token = parseTokenUri(ours->token);
    if (token.empty()) return nullptr;
    const auto timeout = ours ? ours->timeout : std::nullopt;
    return std::make_unique<HeldLock>(std::move(target), std::move(token), timeout);
}

std::unique_ptr<HeldLock> adoptedLock(std::shared_ptr<Target> target, const vx::LockBlock& block) {
    std::string token = parseTokenUri({block.token, block.tokenLength});
    if (token.empty()) throw Failure(vx::VX_INVALID_ARGUMENT, "This is no lock token.");
    return std::make_unique<HeldLock>(std::move(target), std::move(token), std::nullopt);
}

// After a refused UNLOCK. Where nothing can be seen, the refusal is believed.
bool mayStillBeHeld(const Target& target, const std::string& token, int32_t refusal) {
    try {
        return mayStillBeThere(askProperty(target, "lockdiscovery", true), token, refusal);
    } catch (const Failure&) {
        return !saysNoLock(refusal);
    }
}

Request unlockRequest(const Target& target, const std::string& token) {
    Request request = changeRequest(target, "UNLOCK", locking);
    request.headers = {fmt::format("Lock-Token: <{}>", token)};
    return request;
}

void tellLockLeft(const Target& target, vx::Journal* journal, std::string_view token,
                  std::string_view why) {
    if (why.ends_with('.')) why.remove_suffix(1);
    journalSentence(journal, vx::JOURNAL_FAILURE,
                    fmt::format("{} may stay locked ({}).", target.url, why));
    if (target.settings.strayLock) target.settings.strayLock({target.url, token, true});
}

bool mayHaveArrived(Status failure) {
    return failure == WEBLNK_CUT_OFF || failure == WEBLNK_TIMED_OUT ||
           failure == WEBLNK_BAD_ANSWER || failure == WEBLNK_INTERRUPTED;
}

// A proxy's word as often as the server's, which may have granted the lock.
bool mayHideALock(int32_t refusal) {
    return refusal >= 500 || refusal == 408 || refusal == 412 || refusal == 429;
}

// A LOCK whose answer was lost may have been done; its token then stands in the properties. Nothing
// but the owner tells the lock from those of others, so that a person must decide. Gives whether
// the server tells that nothing is locked.
bool tellLocksOf(const Target& target, const vx::LockParms& parms, vx::Journal* journal,
                 std::string_view why) noexcept {
    bool unlocked = false;
    guarded(WEBLNK_BAD_ANSWER, [&]() -> Status {
        const std::string owner = singleBlanks(ownerOf(parms));
        const std::string found = askProperty(target, "lockdiscovery", true).multistatus;
        const auto locks = parseActiveLocks(found);
        for (const auto& lock : locks) {
            if (lock.token.empty() || (!lock.owner.empty() && lock.owner != owner)) continue;
            tellLockLeft(target, journal, lock.token, why);
        }
        unlocked = locks.empty() && !found.empty() && tellsProperty(found, U"lockdiscovery");
        return vx::VX_SUCCESS;
    });
    return unlocked;
}

Answer sendLock(const Target& target, const vx::LockParms& parms, vx::Journal* journal) {
    Request request = changeRequest(target, "LOCK", locking);
    request.headers = {"Depth: 0", timeoutHeader(wantedTimeout(parms.block))};
    request.document = lockInfo(ownerOf(parms), parms.option == 0 ? "shared" : "exclusive");
    for (bool again = false;; again = true) {
        try {
            return exchange(target, request);
        } catch (const Failure& failure) {
            if (!mayHaveArrived(failure.status())) throw;
            const bool unlocked =
                tellLocksOf(target, parms, journal, "the answer to LOCK was lost");
            // A connection that was kept may end just as it is used again.
            if (again || !unlocked || failure.status() != WEBLNK_CUT_OFF) throw;
        }
    }
}

std::shared_ptr<void> watchLock(const Target& target, const std::string& token) {
    return target.settings.watchLock ? target.settings.watchLock(target.url, token, {}) : nullptr;
}

struct GivenBack {
    int32_t status;  // of the UNLOCK
    bool isLeft;     // the lock may still be there, and that was told
};

// Throws when no answer came, after telling of the lock, too.
GivenBack giveBack(const Target& target, const std::string& token, vx::Journal* journal) {
    GivenBack back{};
    for (bool again = false;; again = true) {
        try {
            back.status = exchange(target, unlockRequest(target, token)).status;
            break;
        } catch (const Failure& failure) {
            // Done twice it is done: the second time the server has no such lock.
            if (failure.status() == WEBLNK_CUT_OFF && !again) continue;
            tellLockLeft(target, journal, token, failure.what());
            throw;
        }
    }
    back.isLeft = !isSuccess(back.status) && mayStillBeHeld(target, token, back.status);
    if (back.isLeft) {
        tellLockLeft(target, journal, token, fmt::format("the server answered {}", back.status));
    }
    return back;
}

// A holder whose PUT answered 412 takes its lock for lost and asks for another one. When it was the
// entity tag that did not fit, the old lock is still there: in the way of the new one, or beside it
// where both are shared.
Answer askForLock(const Target& target, const vx::LockParms& parms, vx::Journal* journal,
                  const std::string& forsaken) {
    Answer answer = sendLock(target, parms, journal);
    const bool excludes = isSuccess(answer.status) && parms.option != 0;
    if (forsaken.empty() || excludes) return answer;
    try {
        const GivenBack back = giveBack(target, forsaken, journal);
        if (answer.status != 423 || !isSuccess(back.status)) return answer;
    } catch (const Failure& failure) {  // what the new lock is needed for comes first
        logLine(target.logger, vx::LOG_FAILURE, failure.what());
        return answer;
    }
    return sendLock(target, parms, journal);
}

Failure notRenewed(const Target& target, int32_t status) {
    return Failure(WEBLNK_REFUSED,
                   fmt::format("LOCK {}: not renewed, the server answered {}", target.url, status));
}

}  // namespace

HeldLock::HeldLock(std::shared_ptr<Target> held, std::string itsToken,
                   std::optional<uint32_t> timeout)
    : HeldLock(std::move(held), std::move(itsToken)) {
    granted(timeout);
    watch_ = watchLock(*target, token);
}

HeldLock::HeldLock(std::shared_ptr<Target> held, OwnLock own)
    : HeldLock(std::move(held), std::move(own.token)) {
    stays = true;
    watch_ = std::move(own.use);
}

HeldLock::HeldLock(std::shared_ptr<Target> held, std::string itsToken)
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
    Token = [](const vx::LockObject* self) noexcept -> const char* {
        return static_cast<const HeldLock*>(self)->token.c_str();
    };
    RenewLock = [](vx::LockObject* self) noexcept {
        guarded(WEBLNK_CUT_OFF, [self]() -> Status {
            refreshLocks(*static_cast<HeldLock*>(self)->target);
            return vx::VX_SUCCESS;
        });
    };
    since_ = retry_ = Clock::now();
    target->locks.push_back(this);
}

HeldLock::~HeldLock() {
    std::erase(target->locks, this);
}

void HeldLock::granted(std::optional<uint32_t> timeout) {
    timeout_ = finite(timeout);
    since_ = Clock::now();
}

HeldLock::Clock::duration HeldLock::reserve() const {
    return std::chrono::seconds(std::max(*timeout_ / 3, std::min(60u, *timeout_ / 2)));
}

bool HeldLock::nearItsEnd() const {
    if (!timeout_) return false;
    const auto now = Clock::now();
    return now >= retry_ && now - since_ >= std::chrono::seconds(*timeout_) - reserve();
}

std::string HeldLock::condition(const std::optional<EntityTag>& tag) const {
    if (!tag) return fmt::format("If: (<{}>)", token);
    return fmt::format("If: (<{}> [{}])", token, tag->sent());
}

std::string HeldLock::taggedCondition() const {
    return fmt::format("If: <{}> (<{}>)", target->url, token);
}

int32_t HeldLock::renew() {
    if (timeout_) {
        retry_ = Clock::now() + (*timeout_ == 0 ? pauseWithoutTime : reserve() / 8);
    }
    Request request = changeRequest(*target, "LOCK");
    request.headers = {condition(), timeoutHeader(timeout_.value_or(defaultTimeout))};
    const Answer answer = exchange(*target, std::move(request));
    if (!isSuccess(answer.status)) return answer.status;
    granted(timeout_);
    for (const auto& lock : parseActiveLocks(answer.text)) {
        if (lock.token == token && lock.timeout) granted(lock.timeout);
    }
    return answer.status;
}

void HeldLock::refresh() {
    const int32_t status = renew();
    if (isSuccess(status)) return;
    throw notRenewed(*target, status);
}

std::optional<bool> HeldLock::isThere() const {
    const std::string told = askProperty(*target, "lockdiscovery").multistatus;
    if (told.empty() || !tellsProperty(told, U"lockdiscovery")) return {};
    const auto locks = parseActiveLocks(told);
    return std::any_of(locks.begin(), locks.end(),
                       [this](const ActiveLock& active) { return active.token == token; });
}

void HeldLock::unlock(int32_t& status) {
    if (stays) {
        status = 204;
        return;
    }
    if (target->forsakenToken == token) target->forsakenToken.clear();
    const GivenBack back = giveBack(*target, token, target->journal);
    status = back.status;
    if (back.isLeft && saysNoLock(status)) {
        throw Failure(WEBLNK_LOCK_LEFT, fmt::format("UNLOCK {}: the server answered {}, but the "
                                                    "lock is still there.",
                                                    target->url, status));
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

std::unique_ptr<HeldLock> useOwnLock(CurlClient& client, int32_t& status) {
    Target& target = *client.target;
    OwnLocks* known = target.settings.ownLocks;
    std::optional<OwnLock> own = known ? known->find(target.url) : std::nullopt;
    if (!own) return nullptr;
    const bool isNamed = own->isNamed;
    auto lock = std::make_unique<HeldLock>(client.target, std::move(*own));
    const int32_t answered = lock->renew();
    if (isSuccess(answered)) {
        known->noteUsed(target.url, lock->token);
        status = answered;
        return lock;
    }
    const bool isThere = mayStillBeHeld(target, lock->token, answered);
    if (!isThere && isNamed) known->noteGone(target.url, lock->token);
    if (!isThere && !isNamed) known->noteEnded(target.url, lock->token);
    // No other lock is granted beside one that is there.
    const bool isInTheWay = isThere && saysFailure(answered);
    if (!isNamed && !isInTheWay) return nullptr;
    if (refusesToken(answered)) throw Failure(WEBLNK_NO_SUCH_LOCK, "");
    status = answered;
    if (isInTheWay) throw Failure(WEBLNK_REFUSED, std::string(ownLockNotRenewed));
    throw notRenewed(target, answered);
}

vx::LockObject* lock(CurlClient& client, const vx::LockParms& parms, int32_t& status,
                     vx::Journal* journal) {
    const auto& target = client.target;
    const bool defaults = parms.block.flags & vx::LOCK_BLOCK_DEFAULTS;
    const std::string forsaken = std::exchange(target->forsakenToken, {});
    const bool again = !forsaken.empty();
    // An adopted lock that is taken for lost is not there to be adopted once more.
    if (!again && !defaults && (parms.block.flags & vx::LOCK_BLOCK_ADOPT)) {
        auto adopted = adoptedLock(target, parms.block);
        client.known.noteLock(false, false);
        status = 200;
        return adopted.release();
    }
    throwIfInterrupted(target->settings);
    client.hasContent = true;
    if (auto own = useOwnLock(client, status)) {
        client.known.noteLock(again, false);
        announceExpectedAfterLock(*target);
        return own.release();
    }
    const auto watch = watchLock(*target, {});  // until the lock itself is watched
    const Answer answer = askForLock(*target, parms, journal, forsaken);
    try {
        status = statusOfChange(answer);
    } catch (const Failure&) {  // of a 207 that nobody can read, and that may stand for a lock
        tellLocksOf(*target, parms, journal, "the answer to LOCK cannot be read");
        throw;
    }
    if (status == 423) tellHolderOfMember(*target, journal, answer);
    if (mayHideALock(status)) {
        tellLocksOf(*target, parms, journal, fmt::format("LOCK was answered {}", status));
    }
    if (!isSuccess(status)) return nullptr;
    client.known.noteLock(again, status == 201);
    announceExpectedAfterLock(*target);
    auto held = grantedLock(target, answer, parms);
    if (!held) {
        journalSentence(journal, vx::JOURNAL_FAILURE,
                        fmt::format("LOCK {}: the server answered {} without a lock token, so "
                                    "nothing can be done under this lock.",
                                    target->url, status));
        tellLocksOf(*target, parms, journal, "LOCK was answered without its token");
    }
    return held.release();
}

}  // namespace vxhost
