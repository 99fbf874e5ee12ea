// Resources as PROPFIND tells of them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "client/remote/remote.hpp"
#include "client/time.hpp"
#include "platform/http/headers.hpp"

namespace quillon {

struct Resource {
    std::string segment;  // its last one, encoded, without a final slash
    bool isCollection = false;
    std::optional<uint64_t> size;  // in bytes; nothing of a collection
    std::optional<Time> modified;
    vxhost::EntityTag tag;  // empty: none is told
    // That the server keeps when it is moved; empty: none was asked for or is told, or none that is
    // short.
    std::string fileId{};
    std::optional<Time> created{};  // nothing unless it was asked for
};

struct Members {
    std::vector<Resource> resources;  // of the collection, by their segments
    size_t unreadable = 0;            // that the server itself cannot read, or does not name
    std::optional<Time> asked;        // by the server's clock
    std::string server;               // as it calls itself; anything
    bool tellsFileIds = false;        // of the collection itself or of a member
};

// What is asked for besides what is a collection. A server that knows no file ids answers at more
// length when it is asked for them.
struct WantedProperties {
    bool details = true;  // size, date of the last change, tag
    bool fileIds = false;
    bool created = false;
};
// Half the answer, where nobody reads more.
inline constexpr WantedProperties namesAlone{.details = false};

// What a collection holds: one PROPFIND of depth 1, parsed while it comes. The URL ends in a slash.
Task<Result<Members>> list(Remote& remote, std::string url, WantedProperties wanted = {});

// The one resource; nothing where there is none.
Task<Result<std::optional<Resource>>> look(Remote& remote, std::string url,
                                           WantedProperties wanted = {});

}  // namespace quillon
