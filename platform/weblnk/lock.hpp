// A write lock held on the server.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "host/weblnk.h"
#include "platform/base/own_locks.hpp"
#include "platform/http/headers.hpp"
#include "platform/http/target.hpp"

namespace vxhost {

struct CurlClient;

struct HeldLock : vx::LockObject {
    // timeout: granted seconds, or nothing when it never ends or nobody knows.
    HeldLock(std::shared_ptr<Target> target, std::string token, std::optional<uint32_t> timeout);
    HeldLock(std::shared_ptr<Target> target, OwnLock own);  // one that stays
    ~HeldLock();

    void granted(std::optional<uint32_t> timeout);
    bool nearItsEnd() const;
    // RFC 4918, 9.10.2; throws as exchange() does. It is near its end again only some time after a
    // failure, which may have taken its time.
    void refresh();
    int32_t renew();  // the same; gives the answer's status
    // Sends nothing of one that stays.
    void unlock(int32_t& status);
    std::optional<bool> isThere() const;  // as the server tells that is asked now, if it tells
    // The If header that submits the token (10.4), beside a tag that must fit.
    std::string condition(const std::optional<EntityTag>& tag = {}) const;
    // The same for this resource alone, where a request is about another one, too.
    std::string taggedCondition() const;
    std::optional<uint32_t> timeout() const { return timeout_; }

    const std::shared_ptr<Target> target;
    const std::string token;
    bool stays = false;  // on the server: it is none that this client took

private:
    HeldLock(std::shared_ptr<Target> target, std::string token);
    using Clock = std::chrono::steady_clock;
    Clock::duration reserve() const;  // before the end of a lock that ends
    std::optional<uint32_t> timeout_;
    std::shared_ptr<void> watch_;
    Clock::time_point since_;
    Clock::time_point retry_;  // no renewal before
};

// A lock of the person's own on the client's resource, which the server has just renewed; null
// where there is none, or not any more. Throws where the person named it: WEBLNK_NO_SUCH_LOCK, or
// with the status of another answer.
std::unique_ptr<HeldLock> useOwnLock(CurlClient& client, int32_t& status);

// Renews the target's locks that are near their end; called before each of its requests, since an
// hour may lie between two of them, and by who waits for long. A failure is logged, no more: what
// needs the lock will tell.
void refreshLocks(Target& target);

}  // namespace vxhost
