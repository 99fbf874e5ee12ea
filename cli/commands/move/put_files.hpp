// Several files that quillon put stores in one collection.
#pragma once

#include <string>
#include <vector>

#include "cli/commands/move/put_one.hpp"

namespace quillon::cli {

// Also a single one. url: the collection, or the member that a single file becomes. Gives the exit
// code.
int putFiles(Session& session, const std::vector<std::string>& files, const Address& url,
             const PutOptions& options);

}  // namespace quillon::cli
