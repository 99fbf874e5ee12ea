// Manual pages, made from the very definitions that --help shows.
#pragma once

#include <string>

namespace CLI {
class App;
}

namespace quillon::cli {

// The page of a command, or of the program when the name is empty, as the man macros of roff take
// it. Empty: there is no such command. The footer's paragraphs become the description, but for
// those that begin with "Examples:" and "Exit codes:".
std::string manPage(const CLI::App& program, const std::string& command);

}  // namespace quillon::cli
