// What a program decides about its host. One Settings per extension handle: two collections with
// different proxies or trust stores are served by two handles.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace vxhost {

// Bytes of the running GET or PUT; total is 0 when it is not known.
struct Progress {
    uint64_t moved;
    uint64_t total;
};

// What requests cost, since it was told last.
struct Traffic {
    uint64_t requests = 0;
    uint64_t roundTrips =
        0;  // that somebody waited for; those of requests at the same time are one
    uint64_t connections = 0;
    uint64_t bytesUp = 0;  // headers and bodies, without TLS
    uint64_t bytesDown = 0;
};

// What came of a request of weblnk, however the operation around it sums that up.
struct RequestEnd {
    uint32_t result;     // the request operation's status
    int32_t httpStatus;  // -1 when no answer came
};

// A lock on the server that the person may have to take off. The journal tells of it, too; how to
// take it off is for the program to say.
struct StrayLock {
    std::string_view url;
    std::string_view token;  // as the server says it: any text
    bool taken;              // by this process; else it may be one of the person's earlier ones
    std::string_view sentence{};  // for "somebody else holds it", where that is not so
};

class OwnLocks;
struct WayIn;

struct Settings {
    std::shared_ptr<const WayIn> wayIn;  // to one origin (platform/http/way_in.hpp); null: none
    std::string proxyCaFile;             // as caFile, of an https proxy; empty: caFile
    std::string noProxy;    // hosts that are reached without a proxy, as $no_proxy; empty: it says
    std::string proxyAuth;  // "basic" (so does empty), "digest", "ntlm" or "negotiate"
    std::string caFile;     // PEM file of trusted authorities; empty: the system's trust store
    bool insecure = false;  // accept any certificate
    std::chrono::milliseconds connectTimeout{30'000};
    // A request fails when fewer bytes moved within stallTimeout than leastSpeed asks for, and when
    // an answer that is not a member's content has not ended within answerTimeout.
    std::chrono::milliseconds stallTimeout{60'000};
    uint64_t leastSpeed = 4;  // bytes a second; 0: a single byte will do
    std::chrono::milliseconds answerTimeout{600'000};
    uint64_t mostListingBytes = uint64_t{1} << 30;  // of memory that one listing's document takes
    std::string userAgent = "quillon";
    uint64_t mostSpeed = 0;  // bytes a second of contents, in each direction; 0: no limit
    // How many threads send requests at the same time. They share the connections that a server is
    // asked for, and the speed. Null: one.
    const std::atomic<unsigned>* senders = nullptr;

    // Set by a signal handler: the running request ends at once and no new one begins, but for the
    // UNLOCKs that give back what is held. Null: never.
    const std::atomic<bool>* interrupted = nullptr;
    std::function<void(const Progress&)> progress;  // called from inside a transfer; may be empty
    std::function<void(const RequestEnd&)>
        requestEnded;                                 // told at each request's end; may be empty
    std::function<void(const StrayLock&)> strayLock;  // may be empty
    std::function<void(const Traffic&)> traffic;      // from any thread; may be empty
    // Whether the server is known to ask for Basic at that URL, so that over TLS credentials go out
    // with the first request; may be empty: never.
    std::function<bool(std::string_view url)> knowsBasic;
    // Told when a server was found to ask for Basic; may be empty.
    std::function<void(std::string_view origin)> foundBasic;
    // Told what goes to that origin over http where others can read it, such as "your password";
    // may be empty.
    std::function<void(std::string_view origin, std::string_view what)> secretInClear;
    // Told of a 401 that nobody here can answer: the schemes it asks for, as they are shown to a
    // person, empty where none can be read; may be empty.
    std::function<void(std::string_view schemes)> unknownSchemes;
    // Told of a LOCK that is on its way, when nobody knows the token yet, and of each lock that is
    // held; what it returns is destroyed when the answer is there, or the lock is not held any
    // more. The owner is empty where other locks may have the same.
    std::function<std::shared_ptr<void>(const std::string& url, const std::string& token,
                                        const std::string& owner)>
        watchLock;
    // Asked before a lock is taken, and of one that is in the way (platform/base/own_locks.hpp);
    // null: there are none.
    OwnLocks* ownLocks = nullptr;

    std::string cacheRoot;  // parent of cache directories; empty: the person's cache directory
};

// What a program decides once for all its handles, since the log is the whole process's
// (configureLogging in logger.hpp).
struct LogSettings {
    // Records of the logging channels at or above the threshold, one rendered line each, one call
    // at a time; the function must not log itself. Levels: 1 weblnk's wire trace (credentials
    // masked), 2 trace, 3 failures; 0: nothing is wanted.
    uint32_t threshold = 0;
    std::function<void(uint32_t level, std::string_view channel, std::string_view text)> sink;
};

}  // namespace vxhost
