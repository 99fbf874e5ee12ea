/* Text converters, supplied by the caller of an operation. */
#ifndef QUILLON_HOST_TRANSCODER_H
#define QUILLON_HOST_TRANSCODER_H

#include "host/abi.h"

VX_BEGIN

typedef struct Transcoder Transcoder;

struct Transcoder {
    Unnamed at00[4];
    /* Lengths and capacities are in bytes on both sides. VX_BUFFER_TOO_SMALL: try again with more
     * room; any other failure is final. On failure nothing in the destination is to be used. */
    Status (*Transcode)(Transcoder*, const void* source, uint64_t sourceBytes, void* destination,
                        uint64_t capacity, uint64_t* produced, Word);
};
ABI_AT(Transcoder, Transcode, 0x20);

VX_END

#endif
