// Holds as commands use them.
#pragma once

#include "client/address.hpp"
#include "client/hold.hpp"

namespace quillon::cli {

// Releases the hold at a command's end, and reports a lock that may still be there. The command's
// code, or that of this failure when the command had none.
int released(Hold& hold, const Address& address, int code);

}  // namespace quillon::cli
