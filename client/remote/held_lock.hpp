// A write lock for the time of one change (RFC 4918, 9.10).
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "client/remote/remote.hpp"

namespace quillon {

class HeldLock {
public:
    HeldLock(std::string url, std::string token, bool madeMember, std::shared_ptr<void> watch,
             bool isOwn = false)
        : url_(std::move(url)),
          token_(std::move(token)),
          madeMember_(madeMember),
          isOwn_(isOwn),
          watch_(std::move(watch)) {}
    const std::string& url() const { return url_; }
    const std::string& token() const { return token_; }
    // An empty one, where nothing was (RFC 4918, 7.3).
    bool madeMember() const { return madeMember_; }
    // The person's, that was there before and stays.
    bool isOwn() const { return isOwn_; }

private:
    std::string url_, token_;
    bool madeMember_, isOwn_;
    std::shared_ptr<void> watch_;  // the program's, while it is held
};

enum class Depth : bool { zero, infinity };

// The person's own on that member, where one is known, renewed; nothing where there is none, or not
// any more. Fails with Code::noSuchLock where the person named it.
Task<Result<std::optional<HeldLock>>> useOwnLock(Remote& remote, std::string url);
// Whether one is known, and may be used.
bool knowsOwnLock(const Remote& remote, const std::string& url);

// Exclusive, or of depth zero the person's own. One that may have been granted though its answer
// was lost is looked for, by an owner's text that is no other lock's, and given back. A lock that
// stays is among the error's locks.
Task<Result<HeldLock>> takeLock(Remote& remote, std::string url, Depth depth);

// Whether a lock was refused for the server having none, or none here.
bool meansNoLocks(const Error& refused);

// Also after an interrupt. A lock that stays is among the error's locks. The person's own is left.
Task<Result<void>> giveBack(Remote& remote, HeldLock lock);
// That one, of what is gone or has another name, and which some servers keep then.
Task<Result<void>> giveBackOwn(Remote& remote, HeldLock lock);

// The error of a lock that stays, where what it was taken for is done.
Error doneButLocked(Error notGivenBack);

// The same behind what was done under it, whose outcome this is then. Also behind a removal: some
// servers keep the lock of what is gone.
template <class Value>
Task<Result<Value>> giveBackAfter(Remote& remote, HeldLock lock, Result<Value> done) {
    Result<void> back = co_await giveBack(remote, std::move(lock));
    if (back) co_return std::move(done);
    if (done) co_return doneButLocked(std::move(back).error());
    Error error = std::move(done).error();
    error.locks = back.error().locks;
    co_return std::move(error);
}

// The lock of that owner's text, of a process that did not live to know its token. Gives whether
// there was one.
Task<Result<bool>> giveBackOf(Remote& remote, std::string url, std::string owner);

}  // namespace quillon
