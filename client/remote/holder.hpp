// Who holds the lock that is in the way.
#pragma once

#include <string>
#include <vector>

#include "client/remote/remote.hpp"

namespace quillon {

// The error of a change that a lock forbade, with who holds it, as the first of the resources that
// is locked tells: of those that the server named, then of these. Other errors come back as they
// are.
Task<Error> withHolder(Remote& remote, std::vector<std::string> urls, Error error);
// The same of a PUT, or of a LOCK, of one member.
Task<Error> withHolderOfMember(Remote& remote, std::string url, Error error);

}  // namespace quillon
