#include "cli/terminal/core_dump.hpp"

#include <sys/prctl.h>

namespace quillon::cli {

void forbidCoreDumps() {
    // A limit of RLIMIT_CORE would be the editor's, too, and a core handler may not heed it.
    prctl(PR_SET_DUMPABLE, 0);
}

}  // namespace quillon::cli
