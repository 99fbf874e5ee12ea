// A member gets a content that can be read, and so sent, but once.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "client/remote/remote.hpp"
#include "client/remote/resource.hpp"
#include "platform/http/stream_upload.hpp"

namespace quillon {

struct StreamWish {
    bool force = false;  // whatever is there, and without a lock
    // Whether what is there may go; may be empty: it may.
    std::function<Result<void>(const Resource& there)> mayReplace{};
    std::string heldToken{};  // of a lock that the program has there already
};

// Reads the beginning of the standard input, or goes back to it where nothing behind it was read.
Result<void> openInput(const Remote& remote, std::unique_ptr<vxhost::StreamUpload>& input);

// A look comes first, so that no part of the content is spent on a login. Then as putting a file
// does: under a lock, by which also the name of a member that is not there is held; else only a
// member that is new, or as the look found it. A content that is spent is told with the failure.
Task<Result<void>> storeStream(Remote& remote, std::string url, vxhost::StreamUpload& content,
                               StreamWish wish);

}  // namespace quillon
