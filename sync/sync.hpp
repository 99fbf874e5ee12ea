// A folder and a collection that are kept the same, changed on both sides by several people.
//
//   auto pair = sync::Pair::find(folder);
//   auto end = remote.run(sync::synchronise(remote, **pair, options));
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "client/remote/remote.hpp"
#include "client/result.hpp"
#include "client/transfer_meter.hpp"
#include "sync/pair.hpp"
#include "sync/plan.hpp"
#include "sync/store.hpp"

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

// One run. Fails when nothing could be begun, or when it was interrupted; what is done is done.
Task<Result<SyncEnd>> synchronise(Remote& remote, Pair& pair, const SyncOptions& options);

// What a run would do, as far as that can be told without fetching contents. remote: null asks
// nothing of the server, whose side counts as unchanged.
Result<Plan> planPair(Remote* remote, Pair& pair);

}  // namespace quillon::sync
