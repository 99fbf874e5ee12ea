#include "cli/terminal/progress.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "cli/terminal/format.hpp"
#include "cli/terminal/terminal.hpp"

namespace quillon::cli {
namespace {

constexpr std::chrono::seconds patience{1};
constexpr std::chrono::milliseconds redrawInterval{100};
constexpr size_t barColumns = 20;  // columns

thread_local uint64_t movedBefore = 0;  // by this thread's transfer

// Without that each state would be one more line.
bool canErase() {
    const char* terminal = std::getenv("TERM");
    return terminal != nullptr && std::string_view(terminal) != "dumb";
}

std::string bar(uint64_t moved, uint64_t total) {
    const double share = std::min(
        1.0, static_cast<double>(moved) / static_cast<double>(std::max<uint64_t>(total, 1)));
    const auto filled = static_cast<size_t>(share * static_cast<double>(barColumns));
    return fmt::format("[{:<{}}] {:3.0f}%", std::string(filled, '#'), barColumns, share * 100);
}

std::string remaining(uint64_t moved, uint64_t total, double perSecond) {
    if (perSecond <= 0 || total <= moved) return {};
    const auto seconds = static_cast<uint64_t>(static_cast<double>(total - moved) / perSecond);
    return fmt::format("  {}:{:02} left", seconds / 60, seconds % 60);
}

}  // namespace

void Progress::begin(std::string name) {
    name_ = std::move(name);
    started_ = Clock::now();
    drawn_ = {};
    wanted_ = isTerminal(stderr) && canErase();
}

void Progress::start(std::string_view name) {
    movedBefore = 0;
    finish();
    const std::lock_guard lock(mutex_);
    if (transfers_ == 0) begin(harmless(name));
}

void Progress::startAll(size_t transfers) {
    if (transfers < 2) return;
    const std::lock_guard lock(mutex_);
    transfers_ = transfers;
    done_ = 0;
    moved_ = 0;
    begin({});
}

void Progress::countDone() {
    const std::lock_guard lock(mutex_);
    ++done_;
}

std::string Progress::state(uint64_t moved, uint64_t total, double seconds) const {
    const auto rate = [seconds](uint64_t amount) { return static_cast<double>(amount) / seconds; };
    const std::string speed = shortSize(static_cast<uint64_t>(rate(moved))) + "/s";
    if (transfers_ > 0) {
        return fmt::format(" {} {} of {}  {}  {}{}", bar(done_, transfers_), done_, transfers_,
                           shortSize(moved), speed, remaining(done_, transfers_, rate(done_)));
    }
    const std::string share = total == 0 ? "" : bar(moved, total) + " ";
    return fmt::format(" {}{}  {}{}", share, shortSize(moved), speed,
                       remaining(moved, total, rate(moved)));
}

void Progress::update(uint64_t moved, uint64_t total) {
    const uint64_t more = moved - std::min(moved, std::exchange(movedBefore, moved));
    const std::lock_guard lock(mutex_);
    moved_ += more;
    const Clock::time_point now = Clock::now();
    if (!wanted_ || now - started_ < patience || now - drawn_ < redrawInterval) return;
    drawn_ = now;
    shown_ = true;
    const double seconds = std::chrono::duration<double>(now - started_).count();
    std::string line = state(transfers_ > 0 ? moved_ : moved, total, seconds);
    const size_t width = terminalWidth();
    const bool fits = displayWidth(name_) + line.size() < width;
    if (line.size() >= width) line.resize(width - 1);  // a second line could not be taken away
    fmt::print(stderr, "\r\x1B[K{}{}", fits ? name_ : "", line);
    std::fflush(stderr);
}

void Progress::hide() {
    const std::lock_guard lock(mutex_);
    if (shown_) fmt::print(stderr, "\r\x1B[K");
    shown_ = false;
}

void Progress::finish() {
    if (std::unique_lock lock(mutex_); transfers_ > 0) return;
    finishAll();
}

void Progress::finishAll() {
    hide();
    const std::lock_guard lock(mutex_);
    transfers_ = 0;
    wanted_ = false;
}

}  // namespace quillon::cli
