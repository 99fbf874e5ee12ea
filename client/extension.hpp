// The extension, loaded and started. Collections keep what they need of it alive.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "client/result.hpp"

namespace vxhost {
class OwnLocks;
struct WayIn;
}  // namespace vxhost

namespace quillon {

// Levels of the log: 1 the requests on the wire (credentials masked), 2 operations, 3 failures.
using LogSink = std::function<void(int level, std::string_view channel, std::string_view text)>;
// Called from inside a transfer; total is 0 when it is not known.
using ProgressSink = std::function<void(uint64_t moved, uint64_t total)>;
using LockWatch = std::function<std::shared_ptr<void>(
    const std::string& url, const std::string& token, const std::string& owner)>;

struct Traffic {
    uint64_t requests = 0;
    uint64_t roundTrips = 0;  // that were waited for; those of requests at the same time are one
    uint64_t connections = 0;
    uint64_t bytesUp = 0;  // headers and bodies, without TLS
    uint64_t bytesDown = 0;
};

struct ExtensionOptions {
    std::filesystem::path library;  // empty: the one that came with this program
    std::string caFile;             // PEM file of trusted authorities; empty: the system's
    bool insecure = false;          // accept any certificate
    // What opens one origin beside a user and a password; null: nothing. It is the host's own
    // record (platform/http/way_in.hpp).
    std::shared_ptr<const vxhost::WayIn> wayIn;
    std::string proxyCaFile;  // as caFile, of an https proxy; empty: caFile
    std::string noProxy;      // hosts that are reached without one; empty: $no_proxy says
    std::string proxyAuth;    // how to log in to it: "basic" (so does empty), "digest", "ntlm",
                              // "negotiate"
    std::chrono::milliseconds connectTimeout{30'000};
    std::chrono::milliseconds stallTimeout{60'000};  // hardly a byte moved for so long: give up
    uint64_t mostListingBytes = uint64_t{1} << 30;   // of memory; a larger listing is refused
    uint64_t mostSpeed = 0;                          // bytes a second, each way; 0: no limit
    // How many threads send requests at the same time: they share speed and connections. Null: one.
    const std::atomic<unsigned>* senders = nullptr;
    std::filesystem::path cacheRoot;  // empty: the person's own cache directory
    int logThreshold = 0;             // 0: nothing is logged
    LogSink log;                      // of the whole process, when it is given
    ProgressSink progress;
    // Told what goes to that origin over http where others can read it, such as "your password".
    // From any thread that works.
    std::function<void(std::string_view origin, std::string_view what)> secretInClear;
    // Whether Basic is known to be asked for at a URL: over TLS it then goes with the first
    // request.
    std::function<bool(std::string_view url)> knowsBasic;
    std::function<void(std::string_view origin)> foundBasic;  // told when a server asked for it
    // What requests cost, since it was told last. From any thread that works.
    std::function<void(const Traffic&)> traffic;
    // Told of a LOCK that is on its way (no token yet) and of each lock that is held; what it
    // returns is destroyed when the answer is there, or the lock is not held any more. The owner
    // is empty where other locks may have the same.
    LockWatch watchLock;
    // Locks of the person's own, under which members are changed; the host's own interface
    // (platform/base/own_locks.hpp). Null: there are none.
    vxhost::OwnLocks* ownLocks = nullptr;
    // Once true, the running request ends and no new one begins but for the UNLOCKs that give back
    // what is held. Null: never.
    const std::atomic<bool>* interrupted = nullptr;
};

class Extension {
public:
    static Result<Extension> load(ExtensionOptions options);

    struct State;
    const std::shared_ptr<State>& state() const { return state_; }  // this library's own

private:
    explicit Extension(std::shared_ptr<State> state) : state_(std::move(state)) {}
    std::shared_ptr<State> state_;
};

}  // namespace quillon
