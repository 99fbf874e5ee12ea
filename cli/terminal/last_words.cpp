#include "cli/terminal/last_words.hpp"

#include <poll.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <utility>

#include "cli/terminal/process.hpp"

namespace quillon::cli {

// Lines are published through lock-free pointers: a signal handler, which may interrupt any thread
// anywhere, can neither wait for a mutex nor allocate.
struct LastWords::Line {
    const std::string text;
    Line* next;  // in the list of those that are never freed
};

namespace {

using Place = std::atomic<LastWords::Line*>;
static_assert(Place::is_always_lock_free, "a signal handler reads it");

std::array<Place, 256> places{};
Place neverFreed{};

int occupyPlace(LastWords::Line* line) {
    for (size_t i = 0; i < places.size(); ++i) {
        LastWords::Line* none = nullptr;
        if (places[i].compare_exchange_strong(none, line)) return static_cast<int>(i);
    }
    return -1;
}

}  // namespace

LastWords::LastWords(std::string line)
    : line_(new Line{std::move(line), nullptr}), place_(occupyPlace(line_)) {}

LastWords::~LastWords() {
    if (place_ >= 0) places[static_cast<size_t>(place_)] = nullptr;
    // The handler reads lines only after a first signal. Before one it cannot have found this line,
    // and will not find it any more. After one it may be reading it just now, so the line stays; it
    // is linked to others, so that a leak checker sees that it is meant to.
    if (!interrupted()) {
        delete line_;
        return;
    }
    line_->next = neverFreed;
    while (!neverFreed.compare_exchange_weak(line_->next, line_)) {
    }
}

void writeLastWords() noexcept {
    for (const Place& place : places) {
        const LastWords::Line* line = place;
        pollfd errors{STDERR_FILENO, POLLOUT, 0};
        if (line == nullptr || poll(&errors, 1, 0) != 1) continue;
        [[maybe_unused]] const ssize_t written =
            write(STDERR_FILENO, line->text.data(), line->text.size());
    }
}

}  // namespace quillon::cli
