/* toolbox, the utility layer: unique places for cache directories. */
#ifndef QUILLON_HOST_TOOLBOX_H
#define QUILLON_HOST_TOOLBOX_H

#include "host/kernel.h"

VX_BEGIN

typedef struct Toolbox Toolbox;

struct Toolbox {
    LoadedExtension base;
    Unnamed at18[14];
    /* A free path for a cache directory, which is not created. (0, 0, all ones) select the person's
     * own cache directory. The path has a NUL behind it and is the toolbox's until
     * FreeLocation. */
    Status (*utilloc)(Toolbox*, Word, Word, Word, char32_t** path, uint64_t* length, Word);
    void (*FreeLocation)(Toolbox*, char32_t* path);
};
ABI_AT(Toolbox, utilloc, 0x88);
ABI_AT(Toolbox, FreeLocation, 0x90);

VX_END

#endif
