// The program's exit codes: few, documented and stable.
#pragma once

#include <string>

#include "client/error.hpp"

namespace quillon::cli {

enum ExitCode : int {
    EXIT_DONE = 0,
    EXIT_REFUSED = 1,
    EXIT_USAGE = 2,
    EXIT_NOT_FOUND = 3,
    EXIT_NOT_AUTHORIZED = 4,
    EXIT_LOCKED = 5,
    EXIT_CHANGED = 6,
    EXIT_NETWORK = 7,
    EXIT_LOCAL = 8,
    EXIT_INTERRUPTED = 130,
    EXIT_UNREAD = 141,  // 128 and SIGPIPE, by which the program then ends
};

ExitCode exitCode(Kind kind);

// The table as --help shows it, a line each.
std::string exitCodeHelp();

}  // namespace quillon::cli
