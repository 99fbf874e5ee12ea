// The notes of files, as a command uses them.
#pragma once

#include "cli/session/session.hpp"
#include "client/memory/file_memory.hpp"

namespace quillon::cli {

// Tells the person when they are damaged. The session outlives it.
FileMemory openNotes(Session& session);

}  // namespace quillon::cli
