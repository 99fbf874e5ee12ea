// Core dumps would hold passwords.
#pragma once

namespace quillon::cli {

// From now on this process leaves none, wherever the system would put it, and no other process of
// the same user can read its memory; a debugger cannot attach either. Programs that it starts, such
// as an editor, are not affected.
void forbidCoreDumps();

}  // namespace quillon::cli
