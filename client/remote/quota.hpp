// How much room a collection has (RFC 4331).
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "client/remote/remote.hpp"

namespace quillon {

struct Quota {
    std::optional<uint64_t> available, used;  // in bytes; nothing where it is not told
    bool isCollection = false;                // what was asked for is one

    bool isTold() const { return available || used; }
};

// Of the collection, whose URL ends in a slash.
Task<Result<Quota>> askQuota(Remote& remote, std::string url);

// The request, and what its answer tells: nothing where that is another document; it throws where
// it is no XML.
vxhost::Request quotaRequest(std::string url);
std::optional<Quota> parseQuota(const std::string& document);

}  // namespace quillon
