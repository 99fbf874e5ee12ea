/* The memory pool that the host makes for an extension. */
#ifndef QUILLON_HOST_POOL_H
#define QUILLON_HOST_POOL_H

#include "host/abi.h"

VX_BEGIN

typedef struct Pool Pool;

static const uint32_t POOL_PLAIN = 0;            /* uninitialised memory */
static const uint32_t POOL_ZEROED = 0x80000000u; /* zero-filled memory */

struct Pool {
    Unnamed at00[2];
    void (*DestroyPool)(Pool*);                            /* frees every block still out */
    void* (*Alloc)(Pool*, uint64_t bytes, uint32_t flags); /* null: no memory */
    void (*Free)(Pool*, void* block);                      /* block: from Alloc, not null */
};
ABI_AT(Pool, DestroyPool, 0x10);
ABI_AT(Pool, Alloc, 0x18);
ABI_AT(Pool, Free, 0x20);

/* Handed to CreatePool; all zero. */
typedef struct PoolParms {
    Word words[3];
} PoolParms;
ABI_SIZE(PoolParms, 24);

VX_END

#endif
