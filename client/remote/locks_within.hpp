// The person's own locks on what is in a collection that is deleted or moved as a whole.
#pragma once

#include <functional>
#include <string>

#include "client/remote/conditions.hpp"
#include "client/remote/remote.hpp"

namespace quillon {

// Whether a change of a whole collection may have failed for a lock on what is in it.
bool mayBeForLockWithin(const Error& error);

// A DELETE or MOVE of the collection under those conditions.
using TreeChange = std::function<Task<Result<void>>(Conditions conditions)>;

// Makes the change. Where a lock forbids it, those that the person keeps in the collection are
// renewed, and named beside the other conditions in a second request (RFC 4918, 10.4): servers that
// ask for none of them would refuse their list. More than servers take in a header are not named,
// and the first refusal stands. Behind the change the locks are taken off the names that are gone
// (9.6, 7.6), whether or not they were asked for, since some servers keep them there; one that
// stays is among the error's locks.
Task<Result<void>> changeTree(Remote& remote, std::string collection, Conditions conditions,
                              TreeChange change);

}  // namespace quillon
