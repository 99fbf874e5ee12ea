/* Status codes: 0 is success, every failure has the high bit set. A code handed to a logger or a
 * journal is widened as a signed 32-bit value. */
#ifndef QUILLON_HOST_STATUS_H
#define QUILLON_HOST_STATUS_H

#include "host/abi.h"

VX_BEGIN

/* The host's codes that the extension returns, passes on or tests. */
static const Status VX_SUCCESS = 0;
static const Status VX_NO_MEMORY = 0x803FC002u;
static const Status VX_INVALID_ARGUMENT = 0x803FC003u;
static const Status VX_UNSUPPORTED = 0x803FC004u;
static const Status VX_END_OF_DATA = 0x803FC064u;      /* a read callback has no more data */
static const Status VX_BUFFER_TOO_SMALL = 0x803FE807u; /* a Transcode destination was too small */
static const Status VX_PATH_NOT_FOUND = 0x80BFE801u;   /* an fsbox path does not exist */
static const Status VX_END_OF_FILE = 0x80BFE80Au;      /* an fsbox read reached the end */
static const Status VX_NO_ENCODING_SERVICE = 0x813FC10Du;

/* The extension's own family, 0x81FFC801 to 0x81FFC81D. */
static const Status QUILLON_BAD_URL = 0x81FFC801u;
static const Status QUILLON_NOT_AUTHORIZED = 0x81FFC802u;
static const Status QUILLON_COLLECTION_NOT_FOUND = 0x81FFC803u;
static const Status QUILLON_LOCKED = 0x81FFC804u;
static const Status QUILLON_ALREADY_LOCKED = 0x81FFC805u;
static const Status QUILLON_FILE_NOT_FOUND = 0x81FFC806u;
static const Status QUILLON_NO_FILE_HANDLE = 0x81FFC807u;
static const Status QUILLON_UNEXPECTED_STATUS = 0x81FFC808u;
static const Status QUILLON_LOCK_NOT_SUPPORTED = 0x81FFC809u;
static const Status QUILLON_LOCK_FAILED = 0x81FFC80Au;
static const Status QUILLON_METHOD_NOT_ALLOWED = 0x81FFC80Bu;
static const Status QUILLON_NO_CREATION_DATE = 0x81FFC80Cu;
static const Status QUILLON_NEWER_FILE = 0x81FFC80Du;
static const Status QUILLON_PRECONDITION_FAILED = 0x81FFC80Eu;
static const Status QUILLON_FILE_LOST = 0x81FFC80Fu;
static const Status QUILLON_PUT_LOCK_FAILED = 0x81FFC810u;
static const Status QUILLON_REQUEST_FAILED = 0x81FFC811u;
static const Status QUILLON_INSUFFICIENT_STORAGE = 0x81FFC812u;
static const Status QUILLON_BAD_RESPONSE = 0x81FFC813u;
static const Status QUILLON_NO_LOCAL_CACHE = 0x81FFC815u;
static const Status QUILLON_NO_MEMBER_NAME = 0x81FFC817u;
static const Status QUILLON_MKCOL_FORBIDDEN = 0x81FFC818u;
static const Status QUILLON_MKCOL_NOT_ALLOWED = 0x81FFC819u;
static const Status QUILLON_MKCOL_CONFLICT = 0x81FFC81Au;
static const Status QUILLON_DELETE_REFUSED = 0x81FFC81Bu;
static const Status QUILLON_DELETE_NOT_ALLOWED = 0x81FFC81Cu;
static const Status QUILLON_DELETE_CONFLICT = 0x81FFC81Du;

VX_END

#endif
