/* weblnk, the HTTP client: one client a resource, one shared context a collection.
 *
 * A request operation returns 0 when the exchange took place and then leaves the server's HTTP
 * status, whatever it is; a nonzero status means that no complete answer came (no connection, cut
 * off, not readable, interrupted). Redirects within the origin are followed; another origin is a
 * failure. Requests that change nothing are repeated when the connection fails, or after 429 and
 * 503; others are never sent twice. Why something failed is a sentence in the journal of the
 * callback or the call, or in the client's where there is none. */
#ifndef QUILLON_HOST_WEBLNK_H
#define QUILLON_HOST_WEBLNK_H

#include "host/fsbox.h"
#include "host/markup.h"

VX_BEGIN

typedef struct Weblnk Weblnk;
typedef struct Client Client;
typedef struct ClientParms ClientParms;
typedef struct HttpContext HttpContext;
typedef struct LockObject LockObject;
typedef struct LockParms LockParms;
typedef struct LockBlock LockBlock;
typedef struct PutOptions PutOptions;
typedef struct WriteCallback WriteCallback;
typedef struct ReadCallback ReadCallback;
typedef struct FileHandle FileHandle;

/* Bits of the mask that InstOptions reports. */
static const uint32_t ALLOW_COPY = 0x40000000u;
static const uint32_t ALLOW_DELETE = 0x20000000u;
static const uint32_t ALLOW_GET = 0x10000000u;
static const uint32_t ALLOW_HEAD = 0x08000000u;
static const uint32_t ALLOW_LOCK = 0x04000000u; /* listed in Allow, and class 2 in DAV */
static const uint32_t ALLOW_MKCOL = 0x02000000u;
static const uint32_t ALLOW_MOVE = 0x01000000u;
static const uint32_t ALLOW_OPTIONS = 0x00800000u;
static const uint32_t ALLOW_POST = 0x00400000u;
static const uint32_t ALLOW_PROPFIND = 0x00200000u;
static const uint32_t ALLOW_PROPPATCH = 0x00100000u;
static const uint32_t ALLOW_PUT = 0x00080000u;
static const uint32_t ALLOW_UNLOCK = 0x00020000u;
static const uint32_t ALLOW_PUT_NEW = 0x00000100u; /* no such member yet: its parent takes a PUT */
static const uint32_t ALLOW_PUT_MASK = 0x00080100u;

/* Bits of clientOption. */
static const uint8_t CLIENT_HEAD_BY_PROPFIND = 1; /* when HEAD answers 403, 404 or 405, ask with a
                                                     PROPFIND of depth 0 and answer 200 if it can */

/* The body of a GET, piece by piece; behind a whole one comes a piece of length 0 (see Write in
 * fsbox.h). A nonzero status ends the transfer, InstGet then fails. */
struct WriteCallback {
    Status (*callback)(WriteCallback*, const void* data, uint64_t length);
    File* file;
    Journal* journal; /* may be null */
};
ABI_AT(WriteCallback, callback, 0);
ABI_AT(WriteCallback, file, 8);
ABI_AT(WriteCallback, journal, 16);

/* What came of a GET. The first word of a GET's options may hold the address of one: InstGet fills
 * it before it returns, so that a caller learns what the status of a whole operation hides. */
static const uint32_t GET_OF_COLLECTION = 1; /* the server redirected to the URL's own with a final
                                                slash: a collection, no member. Not followed, so
                                                InstGet fails with nothing handed out */
static const uint32_t GET_END_UNPROVEN = 2;  /* neither the answer nor its size, which the server
                                                does not tell, proves that the whole content came */
typedef struct GetReport {
    uint32_t flags;
    uint32_t at04;
    uint64_t length; /* in bytes, of the body handed to the callback */
    double modified; /* Last-Modified, or MISSING_DATETIME */
} GetReport;
ABI_AT(GetReport, length, 8);
ABI_AT(GetReport, modified, 16);
ABI_SIZE(GetReport, 24);

/* The body of a PUT, piece by piece: a piece stays valid until the next call. VX_END_OF_DATA ends
 * the body, and a call after it begins the body anew (the server asked for credentials, takes no
 * chunks, or sent the request to another URL); any other status aborts the connection, so that no
 * partial body passes for a whole. */
struct ReadCallback {
    Status (*callback)(ReadCallback*, const void** data, uint64_t* length);
    FileHandle* handle;
    File* file;       /* null until the first call and after the end */
    Journal* journal; /* may be null */
    uint64_t total;   /* bytes handed out so far */
};
ABI_AT(ReadCallback, callback, 0);
ABI_AT(ReadCallback, handle, 8);
ABI_AT(ReadCallback, file, 16);
ABI_AT(ReadCallback, journal, 24);
ABI_AT(ReadCallback, total, 32);

/* What putOptions points to; putOptionsLength is sizeof(PutOptions). The caller owns the record and
 * may change it between requests. */
static const uint32_t PUT_LENGTH_KNOWN = 1; /* send Content-Length, else chunks */
static const uint32_t PUT_ONLY_NEW = 2;     /* If-None-Match: * (RFC 9110, 13.1.2); and 412, with
                                               nothing sent, when the latest HEAD found it */
static const uint32_t PUT_IF_UNCHANGED = 4; /* If-Match with the strong entity tag that came with
                                               the latest GET or PUT of this client, if any; and
                                               412, with nothing sent, when HEAD or PROPFIND told
                                               something else since that GET */
struct PutOptions {
    uint32_t flags;
    uint32_t at04;
    uint64_t contentLength; /* in bytes */
};
ABI_AT(PutOptions, flags, 0);
ABI_AT(PutOptions, contentLength, 8);
ABI_SIZE(PutOptions, 16);

static const uint32_t PUT_CODE_DEFAULT = 27;

/* Details of a lock, handed through quillonFileLock with LOCK_WITH_BLOCK. */
static const uint32_t LOCK_BLOCK_DEFAULTS = 0x80000000u; /* the rest of the block is ignored */
static const uint32_t LOCK_BLOCK_ADOPT = 1; /* send no LOCK: take over the lock named by token */
static const uint32_t LOCK_TIMEOUT_INFINITE = 0xFFFFFFFFu;

struct LockBlock {
    uint32_t flags;
    uint32_t timeoutSeconds; /* asked for (RFC 4918, 10.7); 0: the client's default, two hours */
    const char* token;       /* with LOCK_BLOCK_ADOPT: the lock token's URI, without brackets; stays
                                the caller's, valid until the next lock or the handle's release */
    uint64_t tokenLength;
};
ABI_AT(LockBlock, flags, 0);
ABI_AT(LockBlock, timeoutSeconds, 4);
ABI_AT(LockBlock, token, 8);
ABI_AT(LockBlock, tokenLength, 16);
ABI_SIZE(LockBlock, 24);

/* Write locks of depth 0 (RFC 4918, 7); option 1 asks for an exclusive lock, 0 for a shared one. */
struct LockParms {
    Word at00; /* 0 */
    uint32_t option;
    uint32_t at0C; /* 0 */
    uint32_t at10; /* 0 */
    uint32_t at14;
    char32_t* owner;
    uint64_t ownerLength; /* in characters */
    LockBlock block;
    Word at40;
};
ABI_AT(LockParms, option, 8);
ABI_AT(LockParms, at0C, 12);
ABI_AT(LockParms, at10, 16);
ABI_AT(LockParms, owner, 24);
ABI_AT(LockParms, ownerLength, 32);
ABI_AT(LockParms, block, 40);
ABI_SIZE(LockParms, 72);

/* A lock held on the server: it keeps the token and the granted timeout. Near its end it is renewed
 * before the next request of the client that took it; an adopted one is not. An UNLOCK goes out
 * even when the program was interrupted, and one that fails leaves the token in the client's
 * journal; it fails, too, when the server denies that there is such a lock and still shows it. */
struct LockObject {
    Unnamed at00[2];
    Status (*Destroy)(LockObject*); /* sends nothing */
    Unnamed at18[6];
    Status (*InstUnlock)(LockObject*, int32_t* status);
    /* For programs on this host; the extension calls neither. The token is a URI, NUL-terminated,
     * and lives as long as the object. Renewing asks for more time when the lock is near its end
     * (RFC 4918, 9.10.2), for those who send no request for long; what becomes of it is logged. */
    const char* (*Token)(const LockObject*);
    void (*RenewLock)(LockObject*);
};
ABI_AT(LockObject, Destroy, 0x10);
ABI_AT(LockObject, InstUnlock, 0x48);
ABI_AT(LockObject, Token, 0x50);
ABI_AT(LockObject, RenewLock, 0x58);

/* Connections, sessions and credentials shared by the clients of a collection, which run one at a
 * time; different contexts may be used by different threads. */
struct HttpContext {
    Unnamed at00[2];
    Status (*Destroy)(HttpContext*); /* after every client made with it */
};
ABI_AT(HttpContext, Destroy, 0x10);

struct Client {
    Unnamed at00[2];
    Status (*Destroy)(Client*);
    Unnamed at18[6];
    Status (*httpInstDelete)(Client*, Word, Word, int32_t* status);
    Unnamed at50;
    /* options: null, or a word that is 0 or the address of a GetReport. Another status than 200,
     * 203 or, for an empty member, 204 is a failure; its body never reaches the callback. */
    Status (*InstGet)(Client*, const Word* options, Word, Word, int32_t* status, WriteCallback*);
    Unnamed at60[4];
    Status (*InstHead)(Client*, int32_t* status);
    LockObject* (*InstLock)(Client*, LockParms*, int32_t* status, Journal*, Word); /* or null */
    Unnamed at90[3];
    Status (*httpInstMkcol)(Client*, Word, Word, int32_t* status);
    /* destination: a whole URL. An existing member there is never overwritten (412). */
    Status (*InstMove)(Client*, Word, Word, Word, const char32_t* destination, uint64_t length,
                       Word, Word, int32_t* status, Word);
    /* For a member that the server answers 404 or 405: 200, and what its collection allows. */
    Status (*InstOptions)(Client*, Word, int32_t* status, uint32_t* allow, Word);
    Unnamed atC0;
    /* depth 0 or 1. *response: the multistatus, the caller destroys it; null when none came. */
    Status (*InstPropFind)(Client*, uint32_t depth, Document* request, int32_t* status,
                           Document** response);
    Unnamed atD0;
    /* lock: address of the holder's lock object, and useLock 1; or null and 0. Under a lock the
     * token goes out beside the entity tag of what was fetched, or seen after the LOCK. Once that
     * was refused with 412, a PUT under the next lock is answered 412 with nothing sent, when HEAD
     * or PROPFIND told meanwhile that somebody else changed the member. */
    Status (*InstPut)(Client*, const PutOptions* options, uint64_t optionsLength, uint32_t putCode,
                      Word, LockObject** lock, uint32_t useLock, int32_t* status, ReadCallback*);
};
ABI_AT(Client, Destroy, 0x10);
ABI_AT(Client, httpInstDelete, 0x48);
ABI_AT(Client, InstGet, 0x58);
ABI_AT(Client, InstHead, 0x80);
ABI_AT(Client, InstLock, 0x88);
ABI_AT(Client, httpInstMkcol, 0xA8);
ABI_AT(Client, InstMove, 0xB0);
ABI_AT(Client, InstOptions, 0xB8);
ABI_AT(Client, InstPropFind, 0xC8);
ABI_AT(Client, InstPut, 0xD8);

/* The texts stay the caller's; a client copies what it keeps. */
struct ClientParms {
    const char32_t* url;
    uint64_t urlLength;
    const char32_t* proxy; /* or null */
    uint64_t proxyLength;
    const char32_t* user; /* or null */
    uint64_t userLength;
    const char32_t* password; /* or null */
    uint64_t passwordLength;
    uint8_t clientOption;
    uint8_t at41[7];
    Journal* journal; /* or null; outlives the client */
    Word at50;
    uint32_t code; /* 27 */
    uint32_t at5C;
    Word at60;
    HttpContext* httpContext; /* or null: a context of the client's own */
    Word at70[3];
    const char32_t* channel; /* the logging channel */
    uint64_t channelLength;
    Word at98[9];
};
ABI_AT(ClientParms, url, 0x00);
ABI_AT(ClientParms, proxy, 0x10);
ABI_AT(ClientParms, user, 0x20);
ABI_AT(ClientParms, password, 0x30);
ABI_AT(ClientParms, clientOption, 0x40);
ABI_AT(ClientParms, journal, 0x48);
ABI_AT(ClientParms, code, 0x58);
ABI_AT(ClientParms, httpContext, 0x68);
ABI_AT(ClientParms, channel, 0x88);
ABI_AT(ClientParms, channelLength, 0x90);
ABI_SIZE(ClientParms, 224);

struct Weblnk {
    LoadedExtension base;
    Unnamed at18[13];
    Client* (*CreateClient2)(Weblnk*, ClientParms*, Journal*, Word); /* or null */
    Unnamed at88[8];
    HttpContext* (*CreateHttpContext)(Weblnk*, Journal*, Word); /* or null */
    Unnamed atD0;
    /* RFC 3339 and the three forms of RFC 9110, 5.6.7, to seconds since 1970 in UTC. */
    Status (*ParseDate)(Weblnk*, const char32_t* text, uint64_t bytes, double* result);
};
ABI_AT(Weblnk, CreateClient2, 0x80);
ABI_AT(Weblnk, CreateHttpContext, 0xC8);
ABI_AT(Weblnk, ParseDate, 0xD8);

VX_END

#endif
