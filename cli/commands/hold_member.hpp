// Holds as commands use them.
#pragma once

#include "cli/terminal/exit_code.hpp"
#include "client/address.hpp"
#include "client/hold.hpp"
#include "client/lock_notes.hpp"

namespace quillon::cli {

// Reports that a lock could not be given back, with the command that removes it even when it was an
// interrupt that ended the UNLOCK.
ExitCode reportNotUnlocked(const Address& address, Error error);

// Releases the hold at a command's end, and reports a lock that may still be there. The command's
// code, or that of this failure when the command had none. A note of the lock stays with it.
int released(Hold& hold, const Address& address, int code, WrittenNote* note = nullptr);

}  // namespace quillon::cli
