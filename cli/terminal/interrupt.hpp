// SIGINT, SIGTERM and what else would end the program: the first asks the running request to end,
// so that locks are given back and files stay whole; the second ends the program at once.
#pragma once

#include <atomic>

namespace quillon::cli {

void catchInterrupts();

// As a program ends whose output nobody reads any more; after all else that has to end.
void endBySigpipe();

// Set by the handler; system calls that wait return EINTR, again and again.
const std::atomic<bool>& interruptFlag();
inline bool interrupted() {
    return interruptFlag().load();
}

// For a shell, whose commands alone are interrupted by SIGINT: true when that is all that came.
// Then it is forgotten.
bool forgetInterrupt();

}  // namespace quillon::cli
