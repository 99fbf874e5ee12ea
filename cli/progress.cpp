#include "cli/progress.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>

#include "cli/format.hpp"
#include "cli/terminal.hpp"

namespace quillon::cli {
namespace {

constexpr std::chrono::seconds PATIENCE{1};
constexpr std::chrono::milliseconds REDRAW{100};
constexpr size_t BAR = 20;  // columns

std::string bar(uint64_t moved, uint64_t total) {
    const double share = std::min(
        1.0, static_cast<double>(moved) / static_cast<double>(std::max<uint64_t>(total, 1)));
    const auto filled = static_cast<size_t>(share * static_cast<double>(BAR));
    return fmt::format("[{:<{}}] {:3.0f}%", std::string(filled, '#'), BAR, share * 100);
}

std::string remaining(uint64_t moved, uint64_t total, double perSecond) {
    if (perSecond < 1 || total <= moved) return {};
    const auto seconds = static_cast<uint64_t>(static_cast<double>(total - moved) / perSecond);
    return fmt::format("  {}:{:02} left", seconds / 60, seconds % 60);
}

}  // namespace

void Progress::start(std::string_view name) {
    finish();
    name_ = harmless(name);
    started_ = Clock::now();
    drawn_ = {};
    wanted_ = isTerminal(stderr);
}

void Progress::update(uint64_t moved, uint64_t total) {
    const Clock::time_point now = Clock::now();
    if (!wanted_ || now - started_ < PATIENCE || now - drawn_ < REDRAW) return;
    drawn_ = now;
    shown_ = true;
    const double seconds = std::chrono::duration<double>(now - started_).count();
    const double perSecond = static_cast<double>(moved) / seconds;
    std::string line = total == 0 ? fmt::format(" {}", shortSize(moved))
                                  : fmt::format(" {} {}", bar(moved, total), shortSize(moved));
    line += fmt::format("  {}/s{}", shortSize(static_cast<uint64_t>(perSecond)),
                        remaining(moved, total, perSecond));
    const bool fits = displayWidth(name_) + line.size() < terminalWidth();
    fmt::print(stderr, "\r\x1B[K{}{}", fits ? name_ : "", line);
    std::fflush(stderr);
}

void Progress::finish() {
    if (shown_) fmt::print(stderr, "\r\x1B[K");
    shown_ = false;
    wanted_ = false;
}

}  // namespace quillon::cli
