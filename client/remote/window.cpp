#include "client/remote/window.hpp"

#include <algorithm>

namespace quillon {
namespace {

constexpr size_t mostStreams = 64;  // of one HTTP/2 connection
// Of HTTP/1.1: over 16 connections, each of which has its next one ready at once.
constexpr size_t mostAtOnce = 24;
constexpr size_t firstWidth = 8;  // once the first was answered
// A longer way shows in each answer; a queue shows in answers that take so much longer than those
// of a narrower window took.
constexpr double queueing = 2.5;

}  // namespace

void Window::noteEnd(Duration took, bool multiplexed) {
    if (isLimited_) return;
    if (most_ == 1) {
        most_ = multiplexed ? mostStreams : mostAtOnce;
        width_ = firstWidth;
        return;
    }
    sum_ += took;
    if (++ends_ < width_) return;
    const Duration mean = sum_ / static_cast<double>(ends_);
    ends_ = 0;
    sum_ = Duration(0);
    best_ = best_ ? std::min(*best_, mean) : mean;
    if (mean <= *best_ * queueing) {
        width_ = std::min(most_, width_ + std::max<size_t>(1, width_ / 2));
    } else {
        width_ = std::max<size_t>(2, width_ - width_ / 8);
    }
}

void Window::noteBusy() {
    width_ = std::max<size_t>(1, width_ / 2);
    most_ = std::max<size_t>(2, width_ * 2);
    ends_ = 0;
    sum_ = Duration(0);
}

}  // namespace quillon
