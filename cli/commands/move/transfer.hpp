// What cp and mv share: members and collections that get a place elsewhere, on their server or on
// another.
#pragma once

#include <string>
#include <vector>

#include "cli/commands/command.hpp"
#include "cli/commands/move/telling.hpp"
#include "client/error.hpp"

namespace quillon::cli {

enum class Deed : bool { copy, move };

struct TransferOptions {
    std::vector<std::string> operands;  // the last is the place
    std::string pattern;                // empty: the URLs are the sources themselves
    bool recursive = false;             // a move always is
    bool force = false;
    std::string token;  // of the lock on a single source
    Telling telling;
};

// Of servers that answer a move of what is locked as if the new name were taken.
Error movesNothingLocked();

int transfer(Session& session, Deed deed, TransferOptions& options);

}  // namespace quillon::cli
