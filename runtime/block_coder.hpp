// A keyed coder of byte strings in the manner of modular exponentiation on 32-bit blocks.
#pragma once

#include <cstdint>

#pragma GCC visibility push(default)

// Codes count bytes of the input with the modulus and the exponent into the output, which the
// caller makes large enough, and returns outputLength with the length stored there. direction: 0
// encodes, anything else decodes.
//   A modulus below 2^24 copies the input as it is and stores the count, a negative one too.
//   Otherwise encoding gives 4 + 4 * ceil(count / 3) bytes and decoding the length that was encoded
//   modulo 65,536. Encoding nothing, or decoding fewer than 4 bytes, writes nothing and stores 0.
//   Products are exact for a modulus below 2^32.
extern "C" uint32_t* vxzscode(const uint64_t* modulus, const uint64_t* exponent,
                              const uint8_t* input, int32_t count, uint32_t direction,
                              uint8_t* output, uint32_t* outputLength);

#pragma GCC visibility pop
