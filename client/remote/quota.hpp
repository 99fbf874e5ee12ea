// How much room a collection has (RFC 4331).
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "client/remote/remote.hpp"

namespace quillon {

struct Quota {
    std::optional<uint64_t> available, used;  // in bytes; nothing where it is not told

    bool isTold() const { return available || used; }
};

// Of the collection, whose URL ends in a slash.
Task<Result<Quota>> askQuota(Remote& remote, std::string url);

}  // namespace quillon
