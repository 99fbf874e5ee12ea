// Base64 (RFC 4648, section 4) between bytes and wide text, without line breaks, and the way of a
// password through the kernel's encoding service. Memory comes from the pool handed in alone;
// nothing is logged.
#pragma once

#include "host/pool.h"
#include "host/status.h"

// The four codecs share a contract. A null *output asks for a block of the pool, which receives a
// terminator (not counted) after the data and belongs to the caller; a given *output is relied upon
// for room and gets no terminator. *outputCount receives the units written.
//   VX_NO_MEMORY: *output stays null.
//   VX_INVALID_ARGUMENT: a count is negative or needs an output of more than 2^31-1 bytes, or text
//   to decode is not base64. *output becomes null and *outputCount 0 where the codec allocates; a
//   given buffer keeps what was written, and *outputCount is untouched.
#pragma GCC visibility push(default)
extern "C" {

// Bytes, the first function's in the low 8 bits of 4-byte units, to text.
vx::Status base64Encode(vx::Pool* pool, const char32_t* input, int32_t count, char32_t** output,
                        uint32_t* outputCount);
vx::Status base64EncodeBlob(vx::Pool* pool, const uint8_t* input, uint64_t count, char32_t** output,
                            uint32_t* outputCount);

// Text, of whose units only the low 8 bits are read, to bytes; the first function delivers each in
// a 4-byte unit. The fourth character of a group whose third is "=" is not examined.
vx::Status base64Decode(vx::Pool* pool, const char32_t* input, int32_t count, char32_t** output,
                        uint32_t* outputCount);
vx::Status base64DecodeBlob(vx::Pool* pool, const char32_t* input, int32_t count, uint8_t** output,
                            uint64_t* outputCount);

}  // extern "C"
#pragma GCC visibility pop

// Both store null and 0 first. A blank or an empty text succeeds with that. A status of the service
// is returned unchanged with the output variables as the service left them: the caller wipes and
// frees a text that is there after a failure as it does after success.
//   VX_NO_ENCODING_SERVICE: the kernel has none.
extern "C" {

// Text to its stored form. Text that begins with a tag of an encoded password ("{zeb", "{cfgenc}",
// "{cfg}", "{base64}", in any case) is copied as it stands, without the service (VX_NO_MEMORY).
vx::Status base64EncodeRPX(vx::Pool* pool, const char32_t* text, uint64_t count, char32_t** output,
                           uint64_t* outputCount);

// Stored text to clear text; the service decides what the text holds.
vx::Status base64DecodeRPX(vx::Pool* pool, const char32_t* text, uint64_t count, char32_t** output,
                           uint64_t* outputCount);

}  // extern "C"
