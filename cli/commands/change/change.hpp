// What commands share that change a member while nobody else can, and the ends of their holds.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "cli/commands/change/work_copy.hpp"
#include "cli/session/session.hpp"
#include "cli/terminal/exit_code.hpp"
#include "client/address.hpp"
#include "client/hold.hpp"
#include "client/lock_notes.hpp"

namespace quillon::cli {

// What a changer may do while it has the file.
struct WhileHeld {
    std::function<void()> eachSecond;  // is to be called about once a second
    // Stores what the file holds now, where that is another content than was stored last, and tells
    // of it. The exit code.
    std::function<int()> store;
};

// For edit, lock and open: a program that changes a member's content.
struct Changer {
    std::string_view attempt;  // for a failure's report: "edit"
    bool tellsUnchanged = false;
    std::string token{};  // of the lock under which it is changed; empty: none is named
    std::function<int(const WorkCopy&, const WhileHeld& held)> run;  // its exit code
};

// Holds the member, hands its content to the program as a local file, and stores what that made of
// it. A program that fails stores nothing, and its exit code is the result. A changed content that
// was not stored is kept in a local file, which a message names. Failures have been reported.
int changeMember(Session& session, const Address& address, const Changer& changer);

// Reports that a lock could not be given back, with the command that removes it even when it was an
// interrupt that ended the UNLOCK.
ExitCode reportNotUnlocked(const Address& address, Error error);

// Releases the hold at a command's end, and reports a lock that may still be there. The command's
// code, or that of this failure when the command had none. A note of the lock stays with it.
int releaseHold(Hold& hold, const Address& address, int code, WrittenNote* note = nullptr);

}  // namespace quillon::cli
