// A write lock held on the server.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "host/weblnk.h"
#include "platform/http/headers.hpp"
#include "platform/http/target.hpp"

namespace vxhost {

struct HeldLock : vx::LockObject {
    // timeout: granted seconds, or nothing when it never ends or nobody knows.
    HeldLock(std::shared_ptr<Target> target, std::string token, std::optional<uint32_t> timeout);
    ~HeldLock();

    void granted(std::optional<uint32_t> timeout);
    bool nearItsEnd() const;
    // RFC 4918, 9.10.2; throws as exchange() does. It is near its end again only some time after a
    // failure, which may have taken its time.
    void refresh();
    void unlock(int32_t& status);
    std::optional<bool> isThere() const;  // as the server tells that is asked now, if it tells
    // The If header that submits the token (10.4), beside a tag that must fit.
    std::string condition(const std::optional<EntityTag>& tag = {}) const;
    // The same for this resource alone, where a request is about another one, too.
    std::string taggedCondition() const;

    const std::shared_ptr<Target> target;
    const std::string token;

private:
    using Clock = std::chrono::steady_clock;
    Clock::duration reserve() const;  // before the end of a lock that ends
    std::optional<uint32_t> timeout_;
    std::shared_ptr<void> watch_;
    Clock::time_point since_;
    Clock::time_point retry_;  // no renewal before
};

// Renews the target's locks that are near their end; called before each of its requests, since an
// hour may lie between two of them, and by who waits for long. A failure is logged, no more: what
// needs the lock will tell.
void refreshLocks(Target& target);

}  // namespace vxhost
