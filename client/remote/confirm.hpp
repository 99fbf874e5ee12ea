// Changes that something else on the way may have answered for the server, such as the login page
// of a network.
#pragma once

#include <string>

#include "client/remote/remote.hpp"

namespace quillon {

// A page with the status 200, as no server of WebDAV need send one behind a change.
bool isPage(const vxhost::Answer& answer);

// Whether the server has, or has no more, what the change made or removed. Fails with Kind::network
// where it has not.
Task<Result<void>> confirm(Remote& remote, std::string url, bool isThere);

}  // namespace quillon
