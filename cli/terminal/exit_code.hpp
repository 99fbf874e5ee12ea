// The program's exit codes: few, documented and stable.
#pragma once

#include <string>

#include "client/error.hpp"

namespace quillon::cli {

enum ExitCode : int {
    exitDone = 0,
    exitRefused = 1,
    exitUsage = 2,
    exitNotFound = 3,
    exitNotAuthorized = 4,
    exitLocked = 5,
    exitChanged = 6,
    exitNetwork = 7,
    exitLocal = 8,
    exitInterrupted = 130,
    exitUnread = 141,  // 128 and SIGPIPE, by which the program then ends
};

ExitCode exitCode(Kind kind);

// The table as --help shows it, a line each.
std::string exitCodeHelp();

}  // namespace quillon::cli
