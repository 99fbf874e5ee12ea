// Contents there that are fetched to be compared, for nothing else tells whether they are the same.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "client/remote/remote.hpp"
#include "client/transfer_meter.hpp"
#include "sync/plan.hpp"
#include "sync/state.hpp"

namespace quillon::sync {

std::vector<std::string> pathsToCompare(const Plan& plan);

// Puts the hashes of versions into the nodes that have them still. unproven: whether one that may
// be another version counts as that.
void knowVersions(const std::vector<KnownVersion>& versions, ThereTree& there, bool unproven);

// What has a hash there and is left as it is by the plan: the next run may know it.
std::vector<KnownVersion> comparedAndLeft(const Plan& plan, const ThereTree& there,
                                          std::optional<Time> asked);

// Puts the hashes of what has these paths into the nodes there. What cannot be fetched becomes
// blocked. Fails when it is interrupted. url: of a path. meter: null for none.
Task<Result<void>> compareContents(Remote& remote, std::vector<std::string> paths, Trees& trees,
                                   std::function<std::string(const std::string& path)> url,
                                   TransferMeter* meter);

}  // namespace quillon::sync
