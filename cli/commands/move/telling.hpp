// How a command on many members tells what it does.
#pragma once

#include "cli/parser/parser.hpp"
#include "cli/terminal/events.hpp"

namespace quillon::cli {

struct Telling {
    bool dryRun = false;
    bool json = false;
    bool quiet = false;
    bool isMany = false;  // else nothing is summed up

    Events::Manner manner(bool verbose) const;
};

void addQuietOption(CommandDefinition command, bool& quiet);
void addTellingOptions(CommandDefinition command, Telling& telling);

}  // namespace quillon::cli
