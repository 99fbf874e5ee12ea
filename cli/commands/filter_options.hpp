// Options by which a command on a tree takes a part of it.
#pragma once

#include "cli/parser/parser.hpp"
#include "client/tree/filter.hpp"

namespace quillon::cli {

// --exclude, --include and --exclude-from. The filter must live as long as the command.
void addFilterOptions(CommandDefinition command, Filter& filter);

}  // namespace quillon::cli
