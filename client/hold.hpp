// A member held while its content is changed, so that nobody's work is lost.
#pragma once

#include <utility>

#include "client/member.hpp"

namespace quillon {

// Where the server has locks, nobody else writes until the hold is released; the name of a member
// that is to be made is locked as well (RFC 4918, 7.3), so that one of several makers wins. Where
// it has none, a store fails when somebody else's came before it.
class Hold {
public:
    // The member must outlive the hold. A lock that it holds already serves, and stays; so does one
    // of the person's own.
    // next: as of Member::lock(). Fails with changedOnServer when somebody made the member since it
    // was opened, and with refused for a collection.
    static Result<Hold> take(Member& member, Purpose next = Purpose::change);

    Hold(Hold&& other) noexcept;
    Hold& operator=(Hold&&) = delete;
    ~Hold();

    bool isNew() const { return isNew_; }  // the server has no such member, or an empty one of ours
    const Properties& properties() const { return properties_; }  // as they were when it was taken

    Result<void> store();                            // the member's local copy
    bool storedAnew() const { return storedAnew_; }  // what somebody had removed meanwhile

    // Gives the lock back. A failure means that it may still be there, and names it. A name that
    // was locked for nothing is free again.
    Result<void> release();

private:
    explicit Hold(Member& member) : member_(&member) {}
    Result<void> lock(Purpose next);
    Result<void> look(bool wasMissing, bool lockedBefore);
    void dropEmpty();

    Member* member_;
    Properties properties_{};
    bool isNew_ = false;
    bool locked_ = false;       // by this hold
    bool usesOwnLock_ = false;  // the person's, that is on the server
    bool storedAnew_ = false;
    bool madeEmpty_ = false;  // the lock left an empty member, as it does on some servers
};

// Why nothing is stored.
Error isCollectionThere();
Error madeMeanwhile();
Error nothingGuards();  // neither locks, nor what tells of a change

}  // namespace quillon
