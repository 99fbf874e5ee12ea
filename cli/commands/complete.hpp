// What a shell is told when a person has it complete a word of a command line; the scripts in
// completions/ ask with "quillon __complete WORD...".
#pragma once

#include <string>
#include <vector>

#include "cli/parser/parser.hpp"

namespace quillon::cli {

// The last word is the one being typed, as far as it goes; the others stand before it. Prints what
// the word may become, a line each: the whole word and, behind a tab, what it is. A last line
// ":files" or ":directories" says that names of local ones fit, too. Asks nobody, complains of
// nothing, and is done within seconds.
void complete(const Parser& parser, std::vector<std::string> words);

}  // namespace quillon::cli
