// Contents there that are fetched to be compared, for nothing else tells whether they are the same.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "client/remote/remote.hpp"
#include "client/transfer_meter.hpp"
#include "sync/node.hpp"

namespace quillon::sync {

// Which these are: what is as big as the base's or the one here, and has neither its tag nor its
// date. No I/O.
std::vector<std::string> contentsToCompare(const Trees& trees);

// Puts their hashes into the nodes there. What cannot be fetched becomes blocked. Fails when it is
// interrupted. url: of a path. meter: null for none.
Task<Result<void>> compareContents(Remote& remote, Trees& trees,
                                   std::function<std::string(const std::string& path)> url,
                                   TransferMeter* meter);

}  // namespace quillon::sync
