// Files into members of one collection, many at a time.
#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "client/memory/file_memory.hpp"
#include "client/remote/remote.hpp"
#include "client/remote/resource.hpp"
#include "client/transfer_meter.hpp"
#include "client/tree/put_facts.hpp"

namespace quillon {

struct FileForMember {
    std::filesystem::path file;  // a regular one, or a link to one
    std::string url;             // of a member of the collection; no two have the same
};

struct PutSeveralOptions {
    size_t atOnce = 0;
    bool force = false;            // whatever is there, and without a lock
    FileMemory* memory = nullptr;  // null: nothing is noted, and no note is believed
    TransferMeter* meter = nullptr;
    // Whether what is there may go; may be empty: it may.
    std::function<Result<void>(const Resource& there)> mayReplace{};
    // The n-th has ended; in any order.
    std::function<void(size_t n, const Result<void>& outcome)> ended{};
};

// They begin in their order. A new member is made only where nothing is; another one is replaced,
// unless somebody stores it meanwhile, or has stored it since the file came from there. Fails,
// before any has begun, when the collection (whose URL ends in a slash) cannot be listed.
Task<Result<void>> putSeveral(Remote& remote, std::string collection,
                              const std::vector<FileForMember>& files,
                              const PutSeveralOptions& options, PutFactsOnce& facts);

}  // namespace quillon
