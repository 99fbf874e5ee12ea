// A lock on a server, as that tells of it (RFC 4918, 15.8).
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace quillon {

struct FoundLock {
    std::string url;      // of the resource that is told to be locked
    std::string segment;  // its last one, encoded; empty: the resource that was asked for
    std::string token;    // as it may be sent back; empty: none is told, or none that could be sent
    std::string owner;    // for a person: any text, or empty
    std::optional<uint32_t> timeout;  // in seconds, or LOCK_TIMEOUT_INFINITE
    bool isShared = false;
    bool isDeep = false;  // of a collection with all that is in it
};

}  // namespace quillon
