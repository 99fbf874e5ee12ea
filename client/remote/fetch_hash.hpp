// The hash of a content that a server has, which is fetched for it and kept nowhere.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "client/remote/content.hpp"

namespace quillon {

struct HashedContent {
    Version version;
    uint64_t size = 0;  // in bytes
    std::string hash;   // ContentHash
};

// size: that the server told otherwise, in bytes.
Task<Result<HashedContent>> fetchHash(Remote& remote, std::string url,
                                      std::optional<uint64_t> size);

}  // namespace quillon
