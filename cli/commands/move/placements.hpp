// What cp and mv are to take, and where each of it goes: their words, and what is there.
#pragma once

#include <optional>
#include <vector>

#include "cli/commands/move/placing.hpp"
#include "cli/commands/move/transfer.hpp"
#include "cli/commands/move/transfer_teller.hpp"

namespace quillon::cli {

struct Placement {
    Source source;
    Address to;
    std::optional<Error> error{};  // how it ended; nothing: well
};

// Takes the place from the operands. What cannot go is told and left out; nothing where none of it
// can.
std::optional<std::vector<Placement>> findPlacements(Session& session, Deed deed,
                                                     TransferOptions& options,
                                                     TransferTeller& teller);

}  // namespace quillon::cli
