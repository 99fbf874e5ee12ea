// What a run is told, and what it tells.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "client/error.hpp"
#include "client/transfer_meter.hpp"
#include "sync/plan.hpp"
#include "sync/store_limits.hpp"

namespace quillon::sync {

struct SyncEvent {
    Act act;
    std::string path;
    std::string from{};  // of a move
    bool isFolder = false;
    std::optional<uint64_t> size{};  // of a content that was moved, in bytes
    Conflict conflict = Conflict::none;
    std::string copy{};            // theirs beside it, of a conflict
    std::optional<Error> error{};  // why it was not done, or a remark
    bool isFailed = false;         // it was not done, and is no conflict and not blocked
};

struct SyncOptions {
    Direction direction = Direction::both;
    bool dryRun = false;       // the plan is told, and nothing is done
    bool removesMany = false;  // also more than half of all files, or on another server
    bool keeps = true;         // what is replaced or removed goes to the store first
    StoreLimits limits{};
    // Asked once with what is going to be done; may be empty: it is done.
    std::function<bool(const Plan&)> confirm{};
    std::function<void(const SyncEvent&)> tell;
    std::function<void(const std::string& sentence)> remark;  // about the run as a whole
    TransferMeter* meter = nullptr;                           // null: nobody wants to know
};

struct SyncEnd {
    size_t conflicts = 0;
    size_t failures = 0;        // paths that could not be made the same
    bool leftRemovals = false;  // they wait for a person's word
    bool isDeclined = false;    // by confirm
};

}  // namespace quillon::sync
