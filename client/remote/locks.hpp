// The locks that others, or this person, hold on a server (RFC 4918, 15.8).
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "client/found_lock.hpp"
#include "client/remote/remote.hpp"

namespace quillon {

// Those that an answer to a PROPFIND of depth 0 of the URL tells; nothing where it tells of none
// that there may be.
Result<std::optional<std::vector<FoundLock>>> parseLocks(const std::string& url,
                                                         std::string_view multistatus);

// Those on the resource, and on its members where it is a collection; each once, whatever it
// covers. Nothing where the server does not tell of locks.
Task<Result<std::optional<std::vector<FoundLock>>>> findLocks(Remote& remote, std::string url);

}  // namespace quillon
