// Changes that something else on the way may have answered for the server, such as the login page
// of a network.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "client/remote/remote.hpp"
#include "platform/http/headers.hpp"

namespace quillon {

// A text with the status 200, as no server of WebDAV need send one behind a change.
bool isDoubtful(const vxhost::Answer& answer);

// Whether the server has, or has no more, what the change made or removed. Fails with Kind::network
// where it has not.
Task<Result<void>> confirm(Remote& remote, std::string url, bool isThere);
// The same of a content that was stored over what had the tag before; as far as size and tag tell.
Task<Result<void>> confirmStored(Remote& remote, std::string url, std::optional<uint64_t> size,
                                 vxhost::EntityTag before);

}  // namespace quillon
