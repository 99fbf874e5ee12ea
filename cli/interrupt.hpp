// SIGINT, SIGTERM and SIGHUP: the first asks the running request to end, so that locks are given
// back and files stay whole; the second ends the program at once.
#pragma once

#include <atomic>

namespace quillon::cli {

void catchInterrupts();

// Set by the handler; system calls that wait return EINTR.
const std::atomic<bool>& interruptFlag();
inline bool interrupted() {
    return interruptFlag().load();
}

}  // namespace quillon::cli
