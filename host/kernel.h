/* The two records through which an extension reaches its host: the host interface handed to its
 * entry, and the process-wide kernel that vxextver or vxextent registers before. */
#ifndef QUILLON_HOST_KERNEL_H
#define QUILLON_HOST_KERNEL_H

#include "host/logger.h"
#include "host/pool.h"

VX_BEGIN

typedef struct Host Host;
typedef struct Kernel Kernel;
typedef struct LoadedExtension LoadedExtension;
typedef struct EncodingService EncodingService;
typedef struct CaseService CaseService;

/* What every loaded extension begins with. */
struct LoadedExtension {
    Unnamed at00[2];
    void (*Unload)(LoadedExtension*);
};
ABI_AT(LoadedExtension, Unload, 0x10);

struct Host {
    Unnamed at00[6];
    Pool* (*CreatePool)(Host*, const PoolParms*, void* context, const char* name); /* or null */
    Unnamed at38[2];
    LoadedExtension* (*LoadExtension)(Host*, const char32_t* name, uint64_t length, void* context);
};
ABI_AT(Host, CreatePool, 0x30);
ABI_AT(Host, LoadExtension, 0x48);

/* Request and flags of the date-time service that ask for the current time: output[0] is the time
 * in GMT, output[1] the zone value with its sign turned (a local time plus it is GMT). */
static const uint32_t DATETIME_NOW = 16;
static const uint32_t DATETIME_NOW_FLAGS = 0x10800000u;

struct Kernel {
    Unnamed at00[9];
    LoadedExtension* (*LoadExtension)(Kernel*, const char32_t* name, uint64_t length,
                                      void* context);
    Unnamed at50[16];
    void* encodingContext;    /* handed to the encoding service unchanged */
    CaseService* caseService; /* may be null: the runtime's own tables serve */
    Unnamed atE0[3];
    LoggerFactory* loggerFactory;
    Unnamed at100;
    Status (*DateTime)(uint32_t request, double* output, uint32_t flags);
    EncodingService* encodingService; /* may be null */
};
ABI_AT(Kernel, LoadExtension, 0x48);
ABI_AT(Kernel, encodingContext, 0xD0);
ABI_AT(Kernel, caseService, 0xD8);
ABI_AT(Kernel, loggerFactory, 0xF8);
ABI_AT(Kernel, DateTime, 0x108);
ABI_AT(Kernel, encodingService, 0x110);

/* Encodes passwords for stored configuration. Results are UTF-32 texts allocated from the given
 * pool; the caller frees them, and zeroes a decoded one first. */
static const uint32_t ENCODING_METHOD_STORED = 5;

struct EncodingService {
    Unnamed at000[43];
    Status (*DecodeText)(EncodingService*, Pool*, const char32_t* text, uint64_t count,
                         char32_t** result, uint64_t* resultCount, void* context);
    Unnamed at160[3];
    Status (*EncodeText)(EncodingService*, Pool*, uint32_t method, const char32_t* text,
                         uint64_t count, char32_t** result, uint64_t* resultCount, void* context);
};
ABI_AT(EncodingService, DecodeText, 0x158);
ABI_AT(EncodingService, EncodeText, 0x178);

/* Maps one character, sign-extended to 64 bits; the last argument is always 1. */
struct CaseService {
    Unnamed at00[31];
    int64_t (*UpperCase)(CaseService*, int64_t character, Word one);
    int64_t (*LowerCase)(CaseService*, int64_t character, Word one);
};
ABI_AT(CaseService, UpperCase, 0xF8);
ABI_AT(CaseService, LowerCase, 0x100);

VX_END

#endif
