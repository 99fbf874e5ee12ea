// Manual pages, made from the very definitions that --help shows.
#pragma once

#include <string>

#include "cli/parser/parser.hpp"

namespace quillon::cli {

// The page of a command, or of the program when the name is empty, as the man macros of roff take
// it. Empty: there is no such command. The footer's paragraphs become the description, but for
// those that begin with "Examples:" and "Exit codes:".
std::string manPage(const Parser& parser, const std::string& command);

}  // namespace quillon::cli
