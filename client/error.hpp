// What went wrong, as a value.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace quillon {

// What a failure means to whoever asked: the classes that a program acts upon.
enum class Kind : uint8_t {
    refused,          // the server does not do it, or it exists already
    usage,            // the request made no sense: a URL, a name
    notFound,         // no such member or collection
    notAuthorized,    // wrong or missing credentials
    locked,           // somebody else holds a lock
    changedOnServer,  // doing it would have lost somebody's change
    network,          // no complete answer, or a server that failed
    local,            // this machine: files, memory, the extension itself
    interrupted,
};

// Outcomes that a program tells apart by more than their kind. An Error may carry other numbers,
// those of the host and its siblings.
enum class Code : uint32_t {
    success = 0,
    noMemory = 0x803FC002,
    invalidArgument = 0x803FC003,
    badUrl = 0x81FFC801,
    notAuthorized = 0x81FFC802,
    collectionNotFound = 0x81FFC803,
    locked = 0x81FFC804,
    alreadyLocked = 0x81FFC805,
    fileNotFound = 0x81FFC806,
    unexpectedStatus = 0x81FFC808,
    lockNotSupported = 0x81FFC809,
    lockFailed = 0x81FFC80A,
    methodNotAllowed = 0x81FFC80B,
    noCreationDate = 0x81FFC80C,
    newerFile = 0x81FFC80D,
    preconditionFailed = 0x81FFC80E,
    fileLost = 0x81FFC80F,
    putLockFailed = 0x81FFC810,
    requestFailed = 0x81FFC811,
    insufficientStorage = 0x81FFC812,
    badResponse = 0x81FFC813,
    noLocalCache = 0x81FFC815,
    noMemberName = 0x81FFC817,
    mkcolForbidden = 0x81FFC818,
    mkcolNotAllowed = 0x81FFC819,
    mkcolConflict = 0x81FFC81A,
    deleteRefused = 0x81FFC81B,
    deleteNotAllowed = 0x81FFC81C,
    deleteConflict = 0x81FFC81D,
    storedPasswordRefused = 0x813FC110,  // altered, or of another key
    noKey = 0x813FC112,                  // of the stored passwords
    untrusted = 0x80FFD004,              // the server's certificate
    timedOut = 0x80FFD005,
    proxyRefused = 0x80FFD00B,
    noAuthorities = 0x80FFD00F,  // their file cannot be used
    lockLeft = 0x80FFD010,       // it could not be given back, and is still there
};

// A lock that is on the server and in the person's way.
struct StrayLock {
    std::string url;
    std::string token;   // as the server says it: any text
    bool taken = false;  // by the operation that failed; else it may be one of an earlier run
    bool operator==(const StrayLock&) const = default;
};

struct Error {
    Kind kind = Kind::local;
    Code code = Code::success;           // success: a failure that never reached the extension
    int httpStatus = 0;                  // of the last answer; 0: none came, or none was asked for
    std::vector<std::string> sentences;  // for a person, in order; never empty
    std::vector<StrayLock> locks{};      // that the person may take off, by unlock
};

// Whether an unlock that failed so left no lock all the same, as the server says that was asked.
bool lockIsGone(const Error& notUnlocked);

// A failure on this side, in one sentence.
Error localError(Kind kind, std::string sentence);
Error interruption();

// The kind of a code and the HTTP status that came with it (0: none).
Kind kindOf(Code code, int httpStatus);

}  // namespace quillon
