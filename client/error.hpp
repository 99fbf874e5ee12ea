// What went wrong, as a value.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/status.h"

namespace quillon {

// What a failure means to whoever asked: the classes that a program acts upon.
enum class Kind : uint8_t {
    refused,          // the server does not do it, or it exists already
    usage,            // the request made no sense: a URL, a name
    notFound,         // no such member or collection
    notAuthorized,    // wrong or missing credentials
    locked,           // somebody else holds a lock
    changedOnServer,  // doing it would have lost somebody's change
    changedHere,      // the same, of a file on this side
    network,          // no complete answer, or a server that failed
    local,            // this machine: files, memory, the extension itself
    interrupted,
};

// Outcomes that a program tells apart by more than their kind. An Error may carry other numbers,
// those of the host and its siblings.
enum class Code : uint32_t {
    success = vx::VX_SUCCESS,
    noMemory = vx::VX_NO_MEMORY,
    invalidArgument = vx::VX_INVALID_ARGUMENT,
    badUrl = vx::QUILLON_BAD_URL,
    notAuthorized = vx::QUILLON_NOT_AUTHORIZED,
    collectionNotFound = vx::QUILLON_COLLECTION_NOT_FOUND,
    locked = vx::QUILLON_LOCKED,
    alreadyLocked = vx::QUILLON_ALREADY_LOCKED,
    fileNotFound = vx::QUILLON_FILE_NOT_FOUND,
    unexpectedStatus = vx::QUILLON_UNEXPECTED_STATUS,
    lockNotSupported = vx::QUILLON_LOCK_NOT_SUPPORTED,
    lockFailed = vx::QUILLON_LOCK_FAILED,
    methodNotAllowed = vx::QUILLON_METHOD_NOT_ALLOWED,
    noCreationDate = vx::QUILLON_NO_CREATION_DATE,
    newerFile = vx::QUILLON_NEWER_FILE,
    preconditionFailed = vx::QUILLON_PRECONDITION_FAILED,
    fileLost = vx::QUILLON_FILE_LOST,
    putLockFailed = vx::QUILLON_PUT_LOCK_FAILED,
    requestFailed = vx::QUILLON_REQUEST_FAILED,
    insufficientStorage = vx::QUILLON_INSUFFICIENT_STORAGE,
    badResponse = vx::QUILLON_BAD_RESPONSE,
    noLocalCache = vx::QUILLON_NO_LOCAL_CACHE,
    noMemberName = vx::QUILLON_NO_MEMBER_NAME,
    mkcolForbidden = vx::QUILLON_MKCOL_FORBIDDEN,
    mkcolNotAllowed = vx::QUILLON_MKCOL_NOT_ALLOWED,
    mkcolConflict = vx::QUILLON_MKCOL_CONFLICT,
    deleteRefused = vx::QUILLON_DELETE_REFUSED,
    deleteNotAllowed = vx::QUILLON_DELETE_NOT_ALLOWED,
    deleteConflict = vx::QUILLON_DELETE_CONFLICT,
    // Of what stands beneath the extension.
    storedPasswordRefused = 0x813FC110,  // altered, or of another key
    noKey = 0x813FC112,                  // of the stored passwords
    untrusted = 0x80FFD004,              // the server's certificate
    timedOut = 0x80FFD005,
    cutOff = 0x80FFD006,
    unreadable = 0x80FFD009,  // an answer that is not HTTP, or not the XML that it must be
    proxyRefused = 0x80FFD00B,
    noAuthorities = 0x80FFD00F,      // their file cannot be used
    lockLeft = 0x80FFD010,           // it could not be given back, and is still there
    otherKey = 0x80FFD011,           // of the server than the one that is pinned
    certificateWanted = 0x80FFD012,  // of the person
    noSuchLock = 0x80FFD013,         // as the person named
    otherSchemes = 0x80FFD014,       // of logging in are offered, not the given or a known one
    ticketRefused = 0x80FFD016,      // of Kerberos, or there is none
    headerRefused = 0x80FFD017,      // Authorization among those of the person
    handshakeRefused = 0x80FFD018,   // of TLS
    // This library's own.
    unguarded = 0x80FFD101,   // nothing here could tell that storing loses somebody's change
    collection = 0x80FFD102,  // is there, and has no content
};

// A lock that is on the server and in the person's way.
struct StrayLock {
    std::string url;
    std::string token;   // as the server says it: any text
    bool taken = false;  // by the operation that failed; else it may be one of an earlier run
    bool operator==(const StrayLock&) const = default;
};

// The beginning of what could not be fetched whole, from which the next fetch to the same place
// goes on.
struct KeptPart {
    std::filesystem::path file;
    uint64_t size;  // in bytes
};

struct Error {
    Kind kind = Kind::local;
    Code code = Code::success;           // success: a failure that never reached the extension
    int httpStatus = 0;                  // of the last answer; 0: none came, or none was asked for
    std::vector<std::string> sentences;  // for a person, in order; never empty
    std::vector<StrayLock> locks{};      // that the person may take off, by unlock
    std::optional<KeptPart> part{};
    std::vector<std::string> locked{};  // URLs of what a lock forbade to change with the rest
};

// Whether an unlock that failed so left no lock all the same, as the server says that was asked.
bool lockIsGone(const Error& notUnlocked);

// A failure on this side, in one sentence.
Error localError(Kind kind, std::string sentence);
Error interruption();

// Whether a refusal by that code is one which another password may change.
bool mayPasswordHelp(Code code);

// The kind of a code and the HTTP status that came with it (0: none).
Kind kindOf(Code code, int httpStatus);

// "The server answered 409 (Conflict). ...", of an HTTP status that refuses, with what to do about
// it where something can be done.
std::string answerText(int httpStatus);

}  // namespace quillon
