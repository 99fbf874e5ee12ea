// Tells a stalled transfer from a slow one: by the bytes that move within a span of time.
#pragma once

#include <curl/curl.h>

#include <chrono>
#include <cstdint>
#include <optional>

namespace vxhost {

class StallWatch {
public:
    // leastSpeed: bytes a second that must move on average over the limit; at least one must.
    StallWatch(std::chrono::milliseconds limit, uint64_t leastSpeed);

    // How many bytes moved in either direction within the limit, when those were too few; nothing
    // while all is well. Asked again and again while the transfer runs; headerBytes are those that
    // came in so far, without those of interim answers (RFC 9110, 15.2).
    std::optional<int64_t> stalled(CURL* easy, uint64_t headerBytes);

private:
    using Clock = std::chrono::steady_clock;

    std::chrono::milliseconds limit_;
    int64_t least_;  // bytes within the limit
    Clock::time_point since_ = Clock::now();
    int64_t start_ = 0;  // bytes that had moved by then
};

}  // namespace vxhost
