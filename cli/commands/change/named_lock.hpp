// --token: the lock under which a command changes a member.
#pragma once

#include <string>

#include "cli/commands/command.hpp"
#include "client/address.hpp"
#include "client/result.hpp"

namespace quillon::cli {

// Takes what may be a token alone, so that nothing else is asked for at a server.
OptionDefinition addTokenOption(CommandDefinition command, std::string& token);

// What its texts say of the person's own locks.
extern const std::string_view ownLockHelp;

// While it lives, changes of the member go under that lock.
class NamedLock {
public:
    // An empty token names none. Fails with Kind::usage where the shell holds another one.
    static Result<NamedLock> make(Session& session, const Address& address,
                                  const std::string& token);
    NamedLock(NamedLock&& other) noexcept;
    NamedLock& operator=(NamedLock&&) = delete;
    ~NamedLock();

    // The server may have no locks, for all that it says.
    Result<void> requireUsed(const Member& member) const;

private:
    explicit NamedLock(Session* session) : session_(session) {}
    Session* session_;  // null: none is named
};

// Takes the lock off by which the person kept the member, once that is gone or has another name: it
// stayed with the old one (RFC 4918, 7.6), or went with it. Gives the code, of a failure that it
// reports.
int takeOffOwnLock(Session& session, const Address& address, Member& member);

}  // namespace quillon::cli
