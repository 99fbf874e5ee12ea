// Conversions between a caller's encoding and UTF-32.
#pragma once

#include "host/quillon.h"

namespace vx {

// One call of the transcoder, lengths in bytes; *produced is 0 after a failure.
//   VX_INVALID_ARGUMENT: it claims to have produced more than there was room for.
Status squillonConvert(Transcoder* transcoder, const void* source, uint64_t sourceBytes,
                       void* destination, uint64_t capacity, uint64_t* produced);

// A caller's text as a new UTF-32 text of the pool, with its length in characters. A null or empty
// source gives null and 0; one of negative length finds no memory. After a failure of the
// transcoder the buffer stays in *result for the caller to free; without memory *result is null.
// What of the buffer lies beyond the length is zero, also after a failure.
Status squillonTranscode(ExtensionHandle* extension, Transcoder* transcoder, const char* source,
                         int64_t sourceBytes, char32_t** result, uint64_t* resultLength);

// The same for a source that is there, though it be null: the transcoder's to judge.
Status squillonTranscodeGiven(ExtensionHandle* extension, Transcoder* transcoder,
                              const char* source, int64_t sourceBytes, char32_t** result,
                              uint64_t* resultLength);

// A UTF-32 text as a new NUL-terminated narrow text: starting with room for capacity bytes, which
// is doubled while it is too small, in four attempts at most. After a failure of the transcoder
// *buffer holds the latest block, the caller's to free; without memory *buffer is null. *length is
// in bytes, without the NUL, and set only on success.
Status squillonNarrow(ExtensionHandle* extension, Transcoder* transcoder, const char32_t* text,
                      uint64_t characters, uint64_t capacity, char** buffer, uint64_t* length);

}  // namespace vx
