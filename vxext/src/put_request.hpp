// One PUT of a member, as upload and the creation of an empty member send it.
#pragma once

#include "host/quillon.h"

namespace vx {

// Sends what the callback delivers, from its start, under the lock unless it is null. The HTTP
// status is left in the member.
Status squillonSendPut(FileHandle* member, decltype(ReadCallback::callback) callback,
                       LockObject** lock, Journal* journal);

}  // namespace vx
