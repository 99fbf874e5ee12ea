// A member or collection copied or moved on its server, by one request, under the person's own
// locks.
#pragma once

#include <string>

#include "client/address.hpp"
#include "client/error.hpp"
#include "client/remote/change.hpp"
#include "client/remote/remote.hpp"

namespace quillon::cli {

enum class Deed : bool { copy, move };

// Of servers that answer a move of what is locked as if the new name were taken.
Error movesNothingLocked();

// The error of what is in the way tells what --force does; others come back as they are.
Error withForceAdvice(Deed deed, Error error);

// Both URLs are of one server; a collection's end in slashes. A lock of the person's own at either
// end, or in a collection that is moved, does not keep it out, and is taken off what was moved.
// conditions: the lock that a move is to name, if it is not to be looked for.
Task<Result<void>> transferOne(Remote& remote, Deed deed, std::string from, std::string to,
                               Overwrite overwrite, Conditions conditions = unconditional);

// The same, whose error tells what is in the way, or who holds the lock that is.
Task<Result<void>> transferTold(Remote& remote, Deed deed, Address from, Address to,
                                Overwrite overwrite, Conditions conditions = unconditional);

}  // namespace quillon::cli
