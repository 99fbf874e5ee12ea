// A bar on stderr, when that is a terminal that can erase a line and the transfer takes longer than
// a second.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>

namespace quillon::cli {

// One transfer, or all of several that run at a time; any thread may tell of its own.
class Progress {
public:
    ~Progress() { finishAll(); }
    void start(std::string_view name);  // of the transfer that comes next on this thread
    void update(uint64_t moved, uint64_t total);
    void finish();  // takes the bar away, unless it is that of all

    void startAll(size_t transfers);  // one bar for them, unless there is but one
    void countDone();
    void finishAll();

    void hide();  // until something moves again

private:
    using Clock = std::chrono::steady_clock;

    void begin(std::string name);
    std::string state(uint64_t moved, uint64_t total, double seconds) const;

    std::mutex mutex_;  // of what follows
    std::string name_;
    size_t transfers_ = 0;  // 0: one at a time
    size_t done_ = 0;       // of them
    uint64_t moved_ = 0;    // by all of them
    Clock::time_point started_;
    Clock::time_point drawn_;
    bool wanted_ = false;
    bool shown_ = false;
};

}  // namespace quillon::cli
