// A line on stderr, when that is a terminal that can erase a line and what moves takes longer than
// a second.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>

#include "client/transfer_meter.hpp"

namespace quillon::cli {

// One transfer, or all of several that run at a time; any thread may tell of its own.
class Progress : public TransferMeter {
public:
    ~Progress() override { finishAll(); }
    void start(std::string_view name);  // of the transfer that comes next on this thread
    void update(uint64_t moved, uint64_t total);
    void finish();  // takes the line away, unless it is that of all

    // One line for all that are expected from now on. name: of what holds them; parts: how often
    // there will be no more to expect, until all of them are known.
    void startAll(std::string_view name, size_t parts = 1);
    void expect(uint64_t bytes) override;
    void expectNoMore() override;
    void countDone() override;
    void move(int64_t bytes) override;
    void finishAll();

    void hide();                                       // until something moves again
    void setSilent(bool silent) { silent_ = silent; }  // from the next start
    bool isSilent() const { return silent_; }

private:
    using Clock = std::chrono::steady_clock;

    void begin(std::string name);
    void draw(uint64_t moved, uint64_t total);
    std::string stateOfOne(uint64_t moved, uint64_t total, double seconds) const;
    std::string stateOfAll(double seconds) const;

    std::mutex mutex_;  // of what follows
    std::string name_;
    bool ofAll_ = false;
    size_t partsLeft_ = 0;            // of which not all is known
    size_t expected_ = 0, done_ = 0;  // transfers
    uint64_t total_ = 0;              // bytes of those that are expected; 0: not known
    uint64_t moved_ = 0;              // bytes of all of them
    Clock::time_point started_;
    Clock::time_point drawn_;
    bool silent_ = false;
    bool wanted_ = false;
    bool shown_ = false;
};

}  // namespace quillon::cli
