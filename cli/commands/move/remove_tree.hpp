// A collection deleted with all that is in it.
#pragma once

#include "cli/session/session.hpp"
#include "client/address.hpp"
#include "client/result.hpp"

namespace quillon::cli {

// By one request, or by a second one under the person's own locks in it, which go with it. The
// error tells who holds another one that is in the way.
Result<void> removeTree(Session& session, const Address& collection);

}  // namespace quillon::cli
