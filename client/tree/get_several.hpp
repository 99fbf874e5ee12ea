// Members of one server into files, many at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "client/memory/file_memory.hpp"
#include "client/remote/remote.hpp"
#include "client/transfer_meter.hpp"

namespace quillon {

struct WantedMember {
    std::string url;
    std::filesystem::path destination;  // as the person or its name says
    std::filesystem::path place;        // the same, links followed
    std::optional<uint64_t> size{};     // in bytes, where a listing told it
};

struct SeveralOptions {
    size_t atOnce = 0;
    bool force = false;            // a file that was changed since it came from there goes
    bool resumes = true;           // behind what broke off before, and keeps what breaks off
    FileMemory* memory = nullptr;  // null: nothing is noted, and no note is believed
    TransferMeter* meter = nullptr;
    // The n-th has ended; in any order. endProven: of what came.
    std::function<void(size_t n, const Result<void>& outcome, bool endProven)> ended{};
};

// They begin in their order. Fails, before any has begun, when the server refuses the login.
Task<Result<void>> getSeveral(Remote& remote, const std::vector<WantedMember>& members,
                              const SeveralOptions& options);

}  // namespace quillon
