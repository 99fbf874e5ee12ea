// Tells a stalled transfer from a slow one.
#pragma once

#include <curl/curl.h>

#include <chrono>
#include <cstdint>

namespace vxhost {

class StallWatch {
public:
    explicit StallWatch(std::chrono::milliseconds limit) : limit_(limit), since_(Clock::now()) {}

    // Whether no byte has moved in either direction for the limit. Asked again and again while the
    // transfer runs; headerBytes are those that came in so far.
    bool stalled(CURL* easy, uint64_t headerBytes);

private:
    using Clock = std::chrono::steady_clock;
    struct Marks {
        curl_off_t down = 0, up = 0;
        uint64_t headers = 0;
        int queued = 0;  // bytes of ours that the peer has not acknowledged
        bool operator==(const Marks&) const = default;
    };

    std::chrono::milliseconds limit_;
    Clock::time_point since_;
    Marks last_;
};

}  // namespace vxhost
