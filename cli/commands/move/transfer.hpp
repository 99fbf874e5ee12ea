// What cp and mv share: members and collections that get a place elsewhere, on their server or on
// another.
#pragma once

#include <string>
#include <vector>

#include "cli/commands/command.hpp"
#include "cli/commands/move/telling.hpp"
#include "cli/commands/move/transfer_one.hpp"

namespace quillon::cli {

struct TransferOptions {
    std::vector<std::string> operands;  // the last is the place
    std::string pattern;                // empty: the URLs are the sources themselves
    bool recursive = false;             // a move always is
    bool force = false;
    std::string token;  // of the lock on a single source
    Telling telling;
};

int transfer(Session& session, Deed deed, TransferOptions& options);

}  // namespace quillon::cli
