// How fast the whole process goes, whichever of its engines sends.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

namespace vxhost {

// How soon after one another requests go to a server: at once, until it is busy (429, 503), and
// then at intervals, which grow while it stays so and shrink when it answers. Nobody holds up
// another longer than that: of two requests one may be waiting for the other's bytes.
class Pace {
public:
    using Clock = std::chrono::steady_clock;

    static std::shared_ptr<Pace> of(const std::string& origin);

    bool beginsNext(Clock::time_point now);  // whether one may begin, which then does
    void noteAnswer();
    void noteBusy(Clock::time_point now, Clock::time_point notBefore);  // as the server asked

private:
    std::mutex mutex_;  // guards what follows
    std::chrono::milliseconds interval_{0};
    unsigned answers_ = 0;  // since it last changed
    Clock::time_point changed_{}, notBefore_{};
};

// The speed that contents keep to together in one direction, however many and small they are. Each
// begins when those before it have had their time.
class SpeedLimit {
public:
    using Clock = Pace::Clock;

    static SpeedLimit& ofUploads();
    static SpeedLimit& ofDownloads();

    Clock::time_point notBefore() const;
    // speed: bytes a second
    void noteMoved(Clock::time_point begun, uint64_t bytes, uint64_t speed);

private:
    mutable std::mutex mutex_;
    Clock::time_point notBefore_{};
};

}  // namespace vxhost
