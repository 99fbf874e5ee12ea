#include "cli/terminal/progress.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "cli/terminal/format.hpp"
#include "cli/terminal/print.hpp"
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
    moved_ = total_ = 0;
    wanted_ = !silent_ && isTerminal(stderr) && canErase();
}

void Progress::start(std::string_view name) {
    movedBefore = 0;
    finish();
    const std::lock_guard lock(mutex_);
    if (!ofAll_) begin(harmless(name));
}

void Progress::startAll(std::string_view name, size_t parts) {
    const std::lock_guard lock(mutex_);
    ofAll_ = true;
    partsLeft_ = parts;
    expected_ = done_ = 0;
    begin(harmless(name));
}

void Progress::expect(uint64_t bytes) {
    const std::lock_guard lock(mutex_);
    ++expected_;
    total_ += bytes;
}

void Progress::expectNoMore() {
    const std::lock_guard lock(mutex_);
    if (partsLeft_ > 0) --partsLeft_;
}

void Progress::countDone() {
    const std::lock_guard lock(mutex_);
    ++done_;
    if (ofAll_) draw(0, 0);
}

std::string Progress::stateOfOne(uint64_t moved, uint64_t total, double seconds) const {
    const double perSecond = static_cast<double>(moved) / seconds;
    const std::string share = total == 0 ? "" : bar(moved, total) + " ";
    return fmt::format(" {}{}  {}/s{}", share, shortSize(moved),
                       shortSize(static_cast<uint64_t>(perSecond)),
                       remaining(moved, total, perSecond));
}

// What is left is told once all is known: by the bytes, or where nobody knows those by the count.
std::string Progress::stateOfAll(double seconds) const {
    const bool known = partsLeft_ == 0;
    const uint64_t whole = total_ > 0 ? total_ : expected_;
    const uint64_t part = total_ > 0 ? std::min(moved_, total_) : done_;
    const auto perSecond = static_cast<uint64_t>(static_cast<double>(moved_) / seconds);
    return fmt::format(" {}{} of {}{}  {}{}  {}/s{}", known ? bar(part, whole) + " " : "", done_,
                       expected_, known ? "" : "+", shortSize(moved_),
                       known && total_ > 0 ? " of " + shortSize(total_) : "", shortSize(perSecond),
                       known ? remaining(part, whole, static_cast<double>(part) / seconds) : "");
}

void Progress::update(uint64_t moved, uint64_t total) {
    const uint64_t more = moved - std::min(moved, std::exchange(movedBefore, moved));
    const std::lock_guard lock(mutex_);
    moved_ += more;
    draw(moved, total);
}

void Progress::move(int64_t bytes) {
    const std::lock_guard lock(mutex_);
    moved_ += static_cast<uint64_t>(bytes);  // modulo, where some go back
    draw(moved_, total_);
}

// moved, total: of the one transfer. The caller has locked the mutex.
void Progress::draw(uint64_t moved, uint64_t total) {
    const Clock::time_point now = Clock::now();
    if (!wanted_ || now - started_ < patience || now - drawn_ < redrawInterval) return;
    drawn_ = now;
    shown_ = true;
    const double seconds = std::chrono::duration<double>(now - started_).count();
    std::string line = ofAll_ ? stateOfAll(seconds) : stateOfOne(moved, total, seconds);
    const size_t width = terminalWidth();
    const bool fits = displayWidth(name_) + line.size() < width;
    if (line.size() >= width) line.resize(width - 1);  // a second line could not be taken away
    printErrors("\r\x1B[K{}{}", fits ? name_ : "", line);
    std::fflush(stderr);
}

void Progress::hide() {
    const std::lock_guard lock(mutex_);
    if (shown_) printErrors("\r\x1B[K");
    shown_ = false;
}

void Progress::finish() {
    if (std::unique_lock lock(mutex_); ofAll_) return;
    finishAll();
}

void Progress::finishAll() {
    hide();
    const std::lock_guard lock(mutex_);
    ofAll_ = false;
    wanted_ = false;
}

}  // namespace quillon::cli
