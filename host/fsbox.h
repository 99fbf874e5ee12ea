/* fsbox, the file layer: directories, reserved names, and files read and written front to back. */
#ifndef QUILLON_HOST_FSBOX_H
#define QUILLON_HOST_FSBOX_H

#include "host/journal.h"
#include "host/kernel.h"

VX_BEGIN

typedef struct Fsbox Fsbox;
typedef struct File File;
typedef struct FsboxOpenParms FsboxOpenParms;
typedef struct NameParms NameParms;

struct File {
    Unnamed at00[9];
    /* Flushes and frees the file, once; its status is the first write error. A written file that
     * could not be stored whole is removed. */
    Status (*Close)(File*);
    /* On entry *data is null and *length the most wanted; on return they describe a piece that
     * stays valid until the next call. VX_END_OF_FILE: nothing left. */
    Status (*Read)(File*, const void** data, uint64_t* length, uint64_t* spare, Word, Word);
    /* Small pieces are gathered. A length of 0 hands what is gathered to the system now: who will
     * not look at the status of Close learns so that all of it could be stored. */
    Status (*Write)(File*, const void* data, uint64_t length, Word, Word, Word);
};
ABI_AT(File, Close, 0x48);
ABI_AT(File, Read, 0x50);
ABI_AT(File, Write, 0x58);

static const uint32_t FSBOX_READ = 1;  /* through a symbolic link, if there is one */
static const uint32_t FSBOX_WRITE = 2; /* created with mode 0600 or emptied, never through a link */

struct FsboxOpenParms {
    char32_t device[8]; /* "DISK", blank-padded */
    uint32_t mode;
    uint32_t at24;         /* 1 */
    uint64_t bufferLength; /* in bytes; what the caller moves at a time */
    uint32_t at30;         /* 1 */
    uint32_t at34;
    Word at38[19];
    Journal* journal; /* may be null */
    Word atD8[15];
};
ABI_AT(FsboxOpenParms, mode, 32);
ABI_AT(FsboxOpenParms, at24, 36);
ABI_AT(FsboxOpenParms, bufferLength, 40);
ABI_AT(FsboxOpenParms, at30, 48);
ABI_AT(FsboxOpenParms, at34, 52);
ABI_AT(FsboxOpenParms, journal, 208);
ABI_SIZE(FsboxOpenParms, 336);

static const uint32_t NAME_FILE = 1;      /* a member's cache file, reserved by creating it empty */
static const uint32_t NAME_DIRECTORY = 4; /* a name for a cache directory, nothing is created */

struct NameParms {
    const char32_t* prefix; /* or null */
    uint64_t prefixLength;
    Word at10;
    Word at18;
    uint32_t kind;
    uint32_t at24;
};
ABI_AT(NameParms, prefix, 0);
ABI_AT(NameParms, prefixLength, 8);
ABI_AT(NameParms, kind, 32);

struct Fsbox {
    LoadedExtension base;
    Unnamed at18[13];
    /* Null: not opened, and *status says why. The caller closes the file. */
    File* (*fsboxOpen)(Fsbox*, const char32_t* name, uint64_t length, const FsboxOpenParms*, Word,
                       Journal*, Word, Status* status, Word);
    Status (*Exists)(Fsbox*, const char32_t* path, uint64_t length, Word); /* VX_PATH_NOT_FOUND */
    Status (*CreateDirectory)(Fsbox*, const char32_t* path, uint64_t length, Word); /* mode 0700 */
    /* withContents 1: what is left in the directory goes with it. */
    Status (*DeleteDirectory)(Fsbox*, const char32_t* path, uint64_t length, uint32_t withContents,
                              Word);
    Unnamed atA0[3];
    /* Makes a name in the directory and returns its whole path with a NUL behind it, fsbox's own
     * until ReleaseName. */
    Status (*CreateName)(Fsbox*, const char32_t* directory, uint64_t length, const NameParms*,
                         char32_t** name, uint64_t* nameLength, Word);
    Status (*ReleaseName)(Fsbox*, char32_t* name, Word); /* removes a reserved file, too */
};
ABI_AT(Fsbox, fsboxOpen, 0x80);
ABI_AT(Fsbox, Exists, 0x88);
ABI_AT(Fsbox, CreateDirectory, 0x90);
ABI_AT(Fsbox, DeleteDirectory, 0x98);
ABI_AT(Fsbox, CreateName, 0xB8);
ABI_AT(Fsbox, ReleaseName, 0xC0);

VX_END

#endif
