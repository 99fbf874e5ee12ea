// A bar on stderr, when that is a terminal and the transfer takes longer than a second.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

namespace quillon::cli {

class Progress {
public:
    ~Progress() { finish(); }
    void start(std::string_view name);  // of the transfer that comes next
    void update(uint64_t moved, uint64_t total);
    void finish();  // takes the bar away

private:
    using Clock = std::chrono::steady_clock;

    std::string name_;
    Clock::time_point started_;
    Clock::time_point drawn_;
    bool wanted_ = false;
    bool shown_ = false;
};

}  // namespace quillon::cli
