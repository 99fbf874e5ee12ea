// The process: what is set up before anything else, and signals.
#pragma once

#include <atomic>

namespace quillon::cli {

// A standard stream that is closed must not become a connection or a file of ours: it is opened so
// that its use fails. Before anything else is opened.
void occupyStandardStreams();

// Core dumps would hold passwords. From now on this process leaves none, wherever the system would
// put it, and no other process of the same user can read its memory; a debugger cannot attach
// either. Programs that it starts, such as an editor, are not affected.
void forbidCoreDumps();

// From now on the first SIGINT, SIGTERM or other signal that would end the program asks the running
// request to end, so that locks are given back and files stay whole; the second ends the program at
// once.
void catchInterrupts();

// As a program ends whose output nobody reads any more; after all else that has to end.
void endBySigpipe();

// Set by the handler; system calls that wait return EINTR, again and again.
const std::atomic<bool>& interruptFlag();
inline bool interrupted() {
    return interruptFlag().load();
}

// Whether the process was stopped, as by Ctrl-Z, and has gone on since this was asked last: the
// shell may have set the terminal otherwise, and what was typed is gone.
bool takeContinued();

// For a shell, whose commands alone are interrupted by SIGINT: true when that is all that came.
// Then it is forgotten.
bool forgetInterrupt();

}  // namespace quillon::cli
