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
    std::optional<uint64_t> size;  // in bytes
    std::optional<Time> modified;
    vxhost::EntityTag tag;  // empty: none is told
    // That the server keeps when it is moved; empty: none was asked for or is told, or none that is
    // short.
    std::string fileId{};
};

struct Members {
    std::vector<Resource> resources;  // of the collection, by their segments
    size_t unreadable = 0;            // that the server itself cannot read
    std::optional<Time> asked;        // by the server's clock
    std::string server;               // as it calls itself; anything
    bool tellsFileIds = false;        // of the collection itself or of a member
};

// A server that knows none answers at more length when it is asked for them.
enum class FileIds : bool { unasked, asked };

// What a collection holds: one PROPFIND of depth 1, parsed while it comes. The URL ends in a slash.
Task<Result<Members>> list(Remote& remote, std::string url, FileIds fileIds = FileIds::unasked);

// The one resource; nothing where there is none.
Task<Result<std::optional<Resource>>> look(Remote& remote, std::string url);

}  // namespace quillon
