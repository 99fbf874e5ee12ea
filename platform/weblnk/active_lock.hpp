// Locks as a server describes them (RFC 4918, 14.1), and who holds one that is in the way.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/http/request.hpp"
#include "platform/http/target.hpp"
#include "platform/weblnk/properties.hpp"

namespace vxhost {

struct ActiveLock {
    std::string token;                // its URI, or empty
    std::string owner;                // for a person, with singleBlanks(); or empty
    std::optional<uint32_t> timeout;  // seconds, or LOCK_TIMEOUT_INFINITE
};

// The text without blanks at its ends, others reduced to single ones.
std::string singleBlanks(std::string_view text);

// The owner, with singleBlanks(), as a person reads it: of our own locks, the user that their text
// names.
std::string holderName(std::string_view owner);

// Every activelock of a lockdiscovery in the document, in its order; none when it is no XML.
std::vector<ActiveLock> parseActiveLocks(std::string_view xml);

// "http://...: locked by ann until 20:32:05."
std::string holderSentence(const std::string& url, const ActiveLock& lock);

// What UNLOCK and the renewal of a lock are answered where there is no such lock (RFC 4918, 9.10.2
// and 9.11.1, and other servers' words).
bool saysNoLock(int32_t refusal);
// Or none by this token that may be used.
bool refusesToken(int32_t refusal);
// What says nothing of the lock: a failure of the server or of a proxy.
bool saysFailure(int32_t refusal);

// For a person, of the renewal of their own lock that a failure answers.
inline constexpr std::string_view ownLockNotRenewed =
    "The lock of yours on it could not be renewed, and was left there. Try again later.";

// Whether a lock may still be there by which a server refused that, and what it then tells of its
// locks. Where nothing can be seen, the refusal is believed.
bool mayStillBeThere(const PropertyAnswer& told, const std::string& token, int32_t refusal);

// After a 423: a sentence about who holds the lock, from the answer or from the resource's own
// properties. Never throws. False: those tell of no lock.
bool tellHolder(const Target& target, vx::Journal* journal, const Answer& refusal) noexcept;
// The same of what only a lock on the member or on its collection forbids: PUT and LOCK.
void tellHolderOfMember(const Target& target, vx::Journal* journal, const Answer& refusal) noexcept;

// Whether the resource is not there, or has its locks told, of which there are none.
bool tellsOfNoLock(const PropertyAnswer& told);
// For a person, of such a member: some servers keep a lock where they could not make the file.
inline constexpr std::string_view lockedWithoutLock =
    "The server answered 423 (Locked), but tells of no lock on it. Look for one on its collection; "
    "if there is none, the server may have no right to write there.";

}  // namespace vxhost
