// What the requests of a run cost.
#pragma once

#include <chrono>
#include <mutex>
#include <string>

#include "client/extension.hpp"

namespace quillon::cli {

class Cost {
public:
    void add(const Traffic& traffic);  // from any thread
    // "4 requests, 2 round trips, 1 connection, 1.2 KiB up, 3.4 KiB down, 0.21 s"
    std::string text() const;

private:
    const std::chrono::steady_clock::time_point begun_ = std::chrono::steady_clock::now();
    mutable std::mutex mutex_;
    Traffic sum_;
};

}  // namespace quillon::cli
