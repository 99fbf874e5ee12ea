/* quillon, the extension: its handle, its table of operations, and the records of its callers.
 *
 * Texts of a caller's record are in the caller's own encoding, with lengths in bytes. A handle is
 * the extension's: a host reads it, and gives it back to the release operation. Listings and member
 * handles are released before their collection, collections before the extension is destroyed.
 * Operations on one collection and on what was made from it must not run at the same time. */
#ifndef QUILLON_HOST_QUILLON_H
#define QUILLON_HOST_QUILLON_H

#include "host/status.h"
#include "host/toolbox.h"
#include "host/transcoder.h"
#include "host/weblnk.h"

VX_BEGIN

typedef struct ExtensionHandle ExtensionHandle;
typedef struct Operations Operations;
typedef struct CollectionHandle CollectionHandle;
typedef struct CollectionListHandle CollectionListHandle;
typedef struct FileInfo FileInfo;

/* Options of a collection. */
static const uint32_t NO_CACHE = 1; /* no local cache directory, so no member handles */
static const uint32_t LIST_COLLECTIONS_OPTION = 2;
static const uint32_t COUNT_ONLY_OPTION = 4;

/* What quillonCollectionHandleAcquire takes. It writes rc alone. */
typedef struct CollectionParms {
    const char* url; /* ends in "/" */
    int64_t urlLength;
    const char* proxy; /* or null */
    int64_t proxyLength;
    const char* user; /* or null */
    int64_t userLength;
    const char* password; /* or null */
    int64_t passwordLength;
    const char* cacheParent; /* where the cache directory is made, or null */
    int64_t cacheParentLength;
    Transcoder* textTranscoder; /* the caller's encoding to UTF-32 */
    Transcoder* pathTranscoder; /* UTF-32 to the narrow encoding of local paths */
    const char* genericName;    /* NUL-terminated, or null */
    uint8_t clientOption;
    uint8_t at69[3];
    Status rc;        /* out */
    uint32_t options; /* NO_CACHE and the others */
    uint32_t at74;
} CollectionParms;
ABI_AT(CollectionParms, url, 0x00);
ABI_AT(CollectionParms, proxy, 0x10);
ABI_AT(CollectionParms, user, 0x20);
ABI_AT(CollectionParms, password, 0x30);
ABI_AT(CollectionParms, cacheParent, 0x40);
ABI_AT(CollectionParms, textTranscoder, 0x50);
ABI_AT(CollectionParms, pathTranscoder, 0x58);
ABI_AT(CollectionParms, genericName, 0x60);
ABI_AT(CollectionParms, clientOption, 0x68);
ABI_AT(CollectionParms, rc, 0x6C);
ABI_AT(CollectionParms, options, 0x70);

/* Flags of a collection handle. */
static const uint32_t CACHE_KEEP = 1;
static const uint32_t CACHE_FROM_UTILLOC = 2; /* the toolbox owns cacheDir, else fsbox */
static const uint32_t CACHE_CREATED = 4;      /* the directory exists and goes with the handle */
static const uint32_t LIST_INCLUDE_COLLECTIONS = 8;
static const uint32_t LIST_COUNT_ONLY = 16;

struct CollectionHandle {
    char magic[4]; /* "nevo" */
    uint32_t at04;
    char* genericName; /* or null */
    Status (*release)(CollectionHandle*);
    ExtensionHandle* extension;
    char32_t* url; /* ends in "/" */
    uint64_t urlLength;
    char32_t* proxy; /* or null */
    uint64_t proxyLength;
    char32_t* user; /* or null */
    uint64_t userLength;
    char32_t* password; /* or null */
    uint64_t passwordLength;
    char32_t* cacheDir;   /* or null */
    char* narrowCacheDir; /* NUL-terminated, or null */
    uint64_t cacheDirLength;
    Client* client;
    int32_t lastStatus; /* of the latest request of a listing or a member acquire */
    uint32_t flags;
    HttpContext* httpContext;
    uint64_t narrowCacheDirLength; /* in bytes */
};
ABI_AT(CollectionHandle, genericName, 0x08);
ABI_AT(CollectionHandle, release, 0x10);
ABI_AT(CollectionHandle, extension, 0x18);
ABI_AT(CollectionHandle, url, 0x20);
ABI_AT(CollectionHandle, proxy, 0x30);
ABI_AT(CollectionHandle, user, 0x40);
ABI_AT(CollectionHandle, password, 0x50);
ABI_AT(CollectionHandle, cacheDir, 0x60);
ABI_AT(CollectionHandle, narrowCacheDir, 0x68);
ABI_AT(CollectionHandle, cacheDirLength, 0x70);
ABI_AT(CollectionHandle, client, 0x78);
ABI_AT(CollectionHandle, lastStatus, 0x80);
ABI_AT(CollectionHandle, flags, 0x84);
ABI_AT(CollectionHandle, httpContext, 0x88);
ABI_AT(CollectionHandle, narrowCacheDirLength, 0x90);
ABI_SIZE(CollectionHandle, 152);

/* What collection create and delete take; read only. */
typedef struct CollectionOpParms {
    const char* url;
    int64_t urlLength;
    const char* proxy; /* or null */
    int64_t proxyLength;
    const char* user; /* or null */
    int64_t userLength;
    const char* password; /* or null */
    int64_t passwordLength;
    Transcoder* textTranscoder;
    Transcoder* pathTranscoder;
    const char* genericName; /* or null */
    uint8_t clientOption;
    uint8_t deleteAll; /* delete: a collection with members goes, too */
    uint8_t at5A[6];
} CollectionOpParms;
ABI_AT(CollectionOpParms, url, 0x00);
ABI_AT(CollectionOpParms, proxy, 0x10);
ABI_AT(CollectionOpParms, user, 0x20);
ABI_AT(CollectionOpParms, password, 0x30);
ABI_AT(CollectionOpParms, textTranscoder, 0x40);
ABI_AT(CollectionOpParms, pathTranscoder, 0x48);
ABI_AT(CollectionOpParms, genericName, 0x50);
ABI_AT(CollectionOpParms, clientOption, 0x58);
ABI_AT(CollectionOpParms, deleteAll, 0x59);

/* One member. Dates are on the host's scale; a NaN is a missing one. */
static const uint64_t MISSING_DATETIME = 0xFFFFFE0000000000u; /* the bits of the NaN that is used */
static const uint32_t FILEINFO_COLLECTION = 1;

struct FileInfo {
    FileInfo* next;
    const char32_t* name; /* points into the response document */
    char* narrowName;     /* NUL-terminated, or null */
    uint64_t nameLength;
    double created;
    double modified;
    uint64_t size;  /* in bytes; 0 when not known */
    uint32_t flags; /* FILEINFO_COLLECTION */
    uint32_t at3C;
    uint64_t narrowNameLength; /* in bytes */
    const char32_t* href;      /* points into the response document */
    uint64_t hrefLength;
};
ABI_AT(FileInfo, next, 0);
ABI_AT(FileInfo, name, 8);
ABI_AT(FileInfo, narrowName, 16);
ABI_AT(FileInfo, nameLength, 24);
ABI_AT(FileInfo, created, 32);
ABI_AT(FileInfo, modified, 40);
ABI_AT(FileInfo, size, 48);
ABI_AT(FileInfo, flags, 56);
ABI_AT(FileInfo, narrowNameLength, 64);
ABI_AT(FileInfo, href, 72);
ABI_AT(FileInfo, hrefLength, 80);
ABI_SIZE(FileInfo, 88);

/* A snapshot of a collection's members, sorted by name. A host walks first and next. */
struct CollectionListHandle {
    char magic[4];
    uint32_t at04;
    char* genericName; /* or null */
    Status (*release)(CollectionListHandle*);
    ExtensionHandle* extension;
    CollectionHandle* collection;
    FileInfo* first;            /* null: an empty listing */
    FileInfo** headLink;        /* address of head; null when no response was walked */
    Document* responseDocument; /* what the records point into */
    FileInfo* head;
    Word at48[10];
    uint32_t memberCount;
    uint32_t at9C;
};
ABI_AT(CollectionListHandle, genericName, 8);
ABI_AT(CollectionListHandle, release, 16);
ABI_AT(CollectionListHandle, extension, 24);
ABI_AT(CollectionListHandle, collection, 32);
ABI_AT(CollectionListHandle, first, 40);
ABI_AT(CollectionListHandle, headLink, 48);
ABI_AT(CollectionListHandle, responseDocument, 56);
ABI_AT(CollectionListHandle, head, 64);
ABI_AT(CollectionListHandle, memberCount, 152);
ABI_SIZE(CollectionListHandle, 160);

/* What quillonFileHandleAcquire takes. It writes rc alone. */
typedef struct FileHandleParms {
    const char* memberName; /* appended to the collection's URL as it stands */
    int64_t memberNameLength;
    Transcoder* nameTranscoder; /* the caller's encoding to UTF-32 */
    Transcoder* pathTranscoder; /* UTF-32 to the narrow encoding of local paths */
    const char* genericName;    /* NUL-terminated, or null */
    uint8_t clientOption;
    uint8_t at29[3];
    Status rc;                    /* out */
    const PutOptions* putOptions; /* or null; must outlive the handle */
    uint64_t putOptionsLength;
    uint32_t putCode; /* 0: the default, 27 */
    uint32_t at44;
} FileHandleParms;
ABI_AT(FileHandleParms, memberName, 0);
ABI_AT(FileHandleParms, memberNameLength, 8);
ABI_AT(FileHandleParms, nameTranscoder, 16);
ABI_AT(FileHandleParms, pathTranscoder, 24);
ABI_AT(FileHandleParms, genericName, 32);
ABI_AT(FileHandleParms, clientOption, 40);
ABI_AT(FileHandleParms, rc, 44);
ABI_AT(FileHandleParms, putOptions, 48);
ABI_AT(FileHandleParms, putOptionsLength, 56);
ABI_AT(FileHandleParms, putCode, 64);

static const uint32_t FILE_EXISTS = 1; /* flag of a member handle: it exists on the server */

struct FileHandle {
    char magic[4];
    uint32_t at04;
    char* genericName; /* or null */
    Status (*release)(FileHandle*);
    ExtensionHandle* extension;
    CollectionHandle* collection;
    char32_t* path; /* the collection's URL and the member's name */
    uint64_t pathLength;
    char32_t* cacheName; /* fsbox's */
    uint64_t cacheNameLength;
    char* cachePath; /* cacheName in the narrow encoding, NUL-terminated */
    Client* client;
    FileInfo* fileInfo; /* null until quillonFileInfo succeeded */
    uint32_t allow;     /* ALLOW_ bits of the latest OPTIONS */
    uint32_t flags;     /* FILE_EXISTS */
    LockParms lockParms;
    LockObject* lock; /* null: no lock held */
    int32_t status;   /* HTTP status of the latest request */
    uint32_t atBC;
    double lockDate; /* the member's date when it was locked, or missing */
    uint64_t cachePathLength;
    const PutOptions* putOptions;
    uint64_t putOptionsLength;
    uint32_t putCode;
    uint32_t atE4;
};
ABI_AT(FileHandle, genericName, 8);
ABI_AT(FileHandle, release, 16);
ABI_AT(FileHandle, extension, 24);
ABI_AT(FileHandle, collection, 32);
ABI_AT(FileHandle, path, 40);
ABI_AT(FileHandle, pathLength, 48);
ABI_AT(FileHandle, cacheName, 56);
ABI_AT(FileHandle, cacheNameLength, 64);
ABI_AT(FileHandle, cachePath, 72);
ABI_AT(FileHandle, client, 80);
ABI_AT(FileHandle, fileInfo, 88);
ABI_AT(FileHandle, allow, 96);
ABI_AT(FileHandle, flags, 100);
ABI_AT(FileHandle, lockParms, 104);
ABI_AT(FileHandle, lock, 176);
ABI_AT(FileHandle, status, 184);
ABI_AT(FileHandle, lockDate, 192);
ABI_AT(FileHandle, cachePathLength, 200);
ABI_AT(FileHandle, putOptions, 208);
ABI_AT(FileHandle, putOptionsLength, 216);
ABI_AT(FileHandle, putCode, 224);
ABI_SIZE(FileHandle, 232);

/* Optional for quillonFileGet: the address of options is handed to the HTTP client. */
typedef struct FileGetParms {
    Word at00;
    Word options;
} FileGetParms;
ABI_AT(FileGetParms, options, 8);

/* Flags of a lock request. */
static const uint64_t LOCK_OPTION_ZERO = 1; /* a shared lock */
static const uint64_t LOCK_DATE_ONLY = 2;   /* no lock: note the member's date alone */
static const uint64_t LOCK_CREATE = 4;      /* a missing member is created empty before */
static const uint64_t LOCK_WITH_BLOCK = 8;  /* block is handed to the HTTP client */

typedef struct LockRequest {
    uint64_t flags;  /* the first byte counts */
    LockBlock block; /* cleared by quillonFileLock without LOCK_WITH_BLOCK */
} LockRequest;
ABI_AT(LockRequest, flags, 0);
ABI_AT(LockRequest, block, 8);

/* referenceTime is a local date-time, 0: no check; a check turns it into GMT in place. */
typedef struct DeleteParms {
    FileHandle* fileHandle; /* or null: memberName is opened for the operation */
    const char* memberName;
    int64_t memberNameLength;
    Transcoder* nameTranscoder;
    Transcoder* pathTranscoder;
    double referenceTime;
    int32_t status; /* out: the HTTP status of the last request */
    uint32_t at34;
} DeleteParms;
ABI_AT(DeleteParms, fileHandle, 0);
ABI_AT(DeleteParms, memberName, 8);
ABI_AT(DeleteParms, memberNameLength, 16);
ABI_AT(DeleteParms, nameTranscoder, 24);
ABI_AT(DeleteParms, pathTranscoder, 32);
ABI_AT(DeleteParms, referenceTime, 40);
ABI_AT(DeleteParms, status, 48);

typedef struct RenameParms {
    FileHandle* fileHandle; /* or null: memberName is opened for the operation */
    const char* memberName;
    int64_t memberNameLength;
    const char* newName;
    int64_t newNameLength;
    Transcoder* nameTranscoder;
    Transcoder* pathTranscoder;
    double referenceTime; /* as for delete */
    int32_t status;       /* out */
    uint32_t at44;
} RenameParms;
ABI_AT(RenameParms, fileHandle, 0);
ABI_AT(RenameParms, memberName, 8);
ABI_AT(RenameParms, memberNameLength, 16);
ABI_AT(RenameParms, newName, 24);
ABI_AT(RenameParms, newNameLength, 32);
ABI_AT(RenameParms, nameTranscoder, 40);
ABI_AT(RenameParms, pathTranscoder, 48);
ABI_AT(RenameParms, referenceTime, 56);
ABI_AT(RenameParms, status, 64);

typedef struct PasswordParms {
    const char* password;
    int64_t passwordLength;
    char* encoded;           /* the caller's buffer */
    uint64_t* encodedLength; /* in: its capacity; out: bytes produced, 0 after a failure */
    Transcoder* inputTranscoder;
    Transcoder* outputTranscoder;
} PasswordParms;
ABI_AT(PasswordParms, password, 0);
ABI_AT(PasswordParms, passwordLength, 8);
ABI_AT(PasswordParms, encoded, 16);
ABI_AT(PasswordParms, encodedLength, 24);
ABI_AT(PasswordParms, inputTranscoder, 32);
ABI_AT(PasswordParms, outputTranscoder, 40);

/* The operations, slots 0 to 15. A journal may be null everywhere. The extension writes to the
 * journal of the running operation alone. What the HTTP client has to say goes there, too, for GET,
 * PUT and LOCK; for the other requests, and where the operation has no journal, to the one that the
 * acquire of the handle was given, which therefore outlives the handle. */
struct Operations {
    CollectionHandle* (*quillonCollectionHandleAcquire)(ExtensionHandle*, CollectionParms*,
                                                        Journal*);
    Status (*quillonCollectionHandleRelease)(CollectionHandle*); /* null is accepted */
    CollectionListHandle* (*quillonCollectionListOpen)(CollectionHandle*, Transcoder* narrow,
                                                       const char* genericName, Journal*);
    Status (*quillonCollectionListClose)(CollectionListHandle*); /* null is accepted */
    FileHandle* (*quillonFileHandleAcquire)(CollectionHandle*, FileHandleParms*, Journal*);
    Status (*quillonFileHandleRelease)(FileHandle*); /* null is accepted */
    Status (*quillonFileDelete)(CollectionHandle*, DeleteParms*, Journal*);
    Status (*quillonFileGet)(FileHandle*, FileGetParms*, Journal*);
    Status (*quillonFileInfo)(FileHandle*, Transcoder* narrow, Journal*);
    Status (*quillonFileLock)(FileHandle*, LockRequest*, Journal*);
    Status (*quillonFileLockRelease)(FileHandle*, Journal*);
    Status (*quillonFilePut)(FileHandle*, void* ignored, Journal*);
    Status (*quillonFileRename)(CollectionHandle*, RenameParms*, Journal*);
    Status (*quillonPasswordEncrypt)(ExtensionHandle*, PasswordParms*);
    Status (*quillonCollectionCreate)(ExtensionHandle*, CollectionOpParms*, Journal*);
    Status (*quillonCollectionDelete)(ExtensionHandle*, CollectionOpParms*, Journal*);
};
ABI_AT(Operations, quillonCollectionHandleAcquire, 0x00);
ABI_AT(Operations, quillonCollectionHandleRelease, 0x08);
ABI_AT(Operations, quillonCollectionListOpen, 0x10);
ABI_AT(Operations, quillonCollectionListClose, 0x18);
ABI_AT(Operations, quillonFileHandleAcquire, 0x20);
ABI_AT(Operations, quillonFileHandleRelease, 0x28);
ABI_AT(Operations, quillonFileDelete, 0x30);
ABI_AT(Operations, quillonFileGet, 0x38);
ABI_AT(Operations, quillonFileInfo, 0x40);
ABI_AT(Operations, quillonFileLock, 0x48);
ABI_AT(Operations, quillonFileLockRelease, 0x50);
ABI_AT(Operations, quillonFilePut, 0x58);
ABI_AT(Operations, quillonFileRename, 0x60);
ABI_AT(Operations, quillonPasswordEncrypt, 0x68);
ABI_AT(Operations, quillonCollectionCreate, 0x70);
ABI_AT(Operations, quillonCollectionDelete, 0x78);
ABI_SIZE(Operations, 128);

struct ExtensionHandle {
    char magic[4];
    uint32_t at04;
    const char* name; /* nameText */
    Word at10;
    Status (*GetReqVersion)(ExtensionHandle*, uint64_t* version, uint64_t* release,
                            uint64_t* level);
    Status (*GetVersion)(ExtensionHandle*, uint64_t* version, uint64_t* release, uint64_t* level);
    Host* host;
    Status (*Destroy)(ExtensionHandle*); /* after every collection handle is released */
    Word at38[2];
    Pool* pool;
    Weblnk* weblnk;
    Toolbox* toolbox;
    Fsbox* fsbox;
    LoadedExtension* reservedExtension; /* always null */
    Markup* markup;
    char nameText[8];
    Operations operations;
    uint8_t journalEnabled; /* the host's to set: journals are written to */
    uint8_t at101[7];
    Logger* logger;
};
ABI_AT(ExtensionHandle, name, 0x08);
ABI_AT(ExtensionHandle, GetReqVersion, 0x18);
ABI_AT(ExtensionHandle, GetVersion, 0x20);
ABI_AT(ExtensionHandle, host, 0x28);
ABI_AT(ExtensionHandle, Destroy, 0x30);
ABI_AT(ExtensionHandle, pool, 0x48);
ABI_AT(ExtensionHandle, weblnk, 0x50);
ABI_AT(ExtensionHandle, toolbox, 0x58);
ABI_AT(ExtensionHandle, fsbox, 0x60);
ABI_AT(ExtensionHandle, reservedExtension, 0x68);
ABI_AT(ExtensionHandle, markup, 0x70);
ABI_AT(ExtensionHandle, nameText, 0x78);
ABI_AT(ExtensionHandle, operations, 0x80);
ABI_AT(ExtensionHandle, journalEnabled, 0x100);
ABI_AT(ExtensionHandle, logger, 0x108);
ABI_SIZE(ExtensionHandle, 272);

/* The exported functions, by the names under which dlsym finds them. */
typedef Status vxextverFunction(Kernel*, uint64_t* major, uint64_t* minor);
typedef Status vxextentFunction(Kernel*);
typedef Status vxvercn1Function(void* destination); /* 208 bytes */
typedef ExtensionHandle* quillonFunction(Host*, void* context);

VX_END

#endif
