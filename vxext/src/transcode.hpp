// Conversions between a caller's encoding and UTF-32.
#pragma once

#include "host/quillon.h"

namespace vx {

// A caller's text as a new UTF-32 text of the pool, with its length in characters. A null or empty
// source gives null and 0; one of negative length finds no memory. After a failure of the
// transcoder the buffer stays in *result for the caller to free; without memory *result is null.
// What of the buffer lies beyond the length is zero, also after a failure.
Status squillonTranscode(ExtensionHandle* extension, Transcoder* transcoder, const char* source,
                         int64_t sourceBytes, char32_t** result, uint64_t* resultLength);

// A UTF-32 text as a new NUL-terminated narrow text: starting with room for capacity bytes, which
// is doubled while it is too small, in four attempts at most.
struct Narrowing {
    Status status;
    bool outOfMemory;  // status is then VX_NO_MEMORY, and *buffer null
};

// *buffer holds the latest block after a failure, too, and stays the caller's to free. *length is
// in bytes, without the NUL, and set only on success.
Narrowing squillonNarrow(ExtensionHandle* extension, Transcoder* transcoder, const char32_t* text,
                         uint64_t characters, uint64_t capacity, char** buffer, uint64_t* length);

}  // namespace vx
