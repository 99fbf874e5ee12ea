// Terminated texts: narrow ones of bytes, wide ones of 4-byte units (the T in a name). Nothing here
// keeps a pointer, allocates or fails.
#pragma once

#include <cstdint>

#pragma GCC visibility push(default)
extern "C" {

// Units before the terminating zero; 0 for null.
uint64_t nxStrLen(const char* text);
uint64_t nxStrTLen(const char32_t* text);

// Copies up to and including the terminator, the source first. A null source makes the destination
// an empty text; a null destination does nothing.
void nxStrCpy(const char* source, char* destination);
void nxStrTCpy(const char32_t* source, char32_t* destination);

// Change the case of the letters a to z, or A to Z, in place. No terminator is needed.
void nxStrUp(char* text, uint64_t count);
void nxStrLow(char* text, uint64_t count);

}  // extern "C"
#pragma GCC visibility pop
