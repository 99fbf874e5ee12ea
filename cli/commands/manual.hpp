// The manual: a page for the program, one for each command, and one for the files of sites.
#pragma once

#include <string>

#include "cli/parser/parser.hpp"

namespace quillon::cli {

// By the name of a command; empty: the program's; "config": that of the files. Empty: there is
// none.
std::string manual(const Parser& parser, const std::string& page);

}  // namespace quillon::cli
