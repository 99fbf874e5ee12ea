// The exported message functions: variable arguments in front of the host's logger and journal.
#pragma once

#include "host/journal.h"
#include "host/logger.h"

#pragma GCC visibility push(default)
extern "C" {

vx::RenderedMessage* LoggerRender(vx::Logger* logger, const char32_t* text, uint64_t length, ...);
vx::RenderedMessage* LoggerCapture(vx::Logger* logger, int32_t number, ...);

// length is in characters; 0: the text is NUL-terminated.
vx::Status vxlMessageToJnl(vx::Journal* journal, uint32_t severity, const char32_t* text,
                           uint64_t length, ...);
vx::Status vxlStatusToJnl(vx::Journal* journal, uint32_t severity, vx::Status status, ...);

vx::Status vxlMessageToBuf(vx::Journal* journal, vx::Word, vx::Word, vx::Word, vx::Word, vx::Word,
                           ...);
vx::Status vxlStatusToBuf(vx::Journal* journal, vx::Status status, vx::Word, vx::Word, vx::Word,
                          ...);

// Hands every argument, whatever its type, on to the journal.
vx::Word vxlGetLocale(vx::Journal* journal, ...);

}  // extern "C"
#pragma GCC visibility pop
