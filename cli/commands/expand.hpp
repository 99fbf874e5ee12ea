// Patterns among the words of a shell's line, and the names that they stand for.
#pragma once

#include <string>
#include <vector>

#include "cli/parser/parser.hpp"
#include "cli/parser/words.hpp"
#include "cli/session/session.hpp"

namespace quillon::cli {

// The words as the parser takes them. A pattern among a command's files stands for local ones, one
// among its URLs for members; in URLs, values of options and another program's words the signs are
// characters. Fails with Kind::notFound for a pattern that nothing matches.
Result<std::vector<std::string>> expandWords(Session& session, CommandDefinition program,
                                             std::vector<ShellWord> words);

}  // namespace quillon::cli
