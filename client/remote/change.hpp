// Requests that change what is on a server, other than by storing a content.
#pragma once

#include <string>

#include "client/remote/conditions.hpp"
#include "client/remote/remote.hpp"

namespace quillon {

// A collection's URL ends in a slash, and it goes with all that is in it. Where some of that stays
// (RFC 4918, 9.6.1), the error says so.
Task<Result<void>> remove(Remote& remote, std::string url, Conditions conditions = unconditional);

// Its parent is there, and nothing has its name.
Task<Result<void>> makeCollection(Remote& remote, std::string url);

// What a MKCOL would find out: fails as after a 409 where there is no collection to make it in. Who
// may not look may make it all the same.
Task<Result<void>> findPlace(Remote& remote, std::string url);

// Whether what has the new name may go for it (RFC 4918, 10.6).
enum class Overwrite : bool { no, yes };

// Both of one server. A collection goes with all that is in it.
Task<Result<void>> copy(Remote& remote, std::string from, std::string to, Overwrite overwrite,
                        Conditions conditions = unconditional);
Task<Result<void>> move(Remote& remote, std::string from, std::string to, Overwrite overwrite,
                        Conditions conditions = unconditional);

}  // namespace quillon
