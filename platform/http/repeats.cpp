#include "platform/http/repeats.hpp"

#include <algorithm>
#include <random>
#include <thread>

#include "platform/base/status.hpp"

namespace vxhost {
namespace {

using std::chrono::milliseconds;

constexpr int mostTries = 3;
constexpr milliseconds mostWaiting{30'000};  // of all tries together
constexpr milliseconds firstWait{200};
constexpr milliseconds slice{50};  // until an interrupt is noticed

milliseconds jittered(milliseconds wait) {
    thread_local std::minstd_rand random{std::random_device{}()};
    return std::uniform_int_distribution<milliseconds::rep>(wait.count() / 2,
                                                            wait.count())(random) *
           milliseconds(1);
}

}  // namespace

void throwIfInterrupted(const Settings& settings) {
    if (settings.interrupted && settings.interrupted->load(std::memory_order_relaxed)) {
        throw Failure(WEBLNK_INTERRUPTED, "Interrupted.");
    }
}

void pause(const Settings& settings, milliseconds time) {
    for (milliseconds left = time; left > milliseconds(0); left -= slice) {
        throwIfInterrupted(settings);
        std::this_thread::sleep_for(std::min(left, slice));
    }
}

std::optional<milliseconds> Repeats::next(std::optional<std::chrono::seconds> asked) {
    if (tries_ >= mostTries) return std::nullopt;
    const milliseconds backOff = jittered(firstWait * (1 << (2 * tries_ - 2)));
    const milliseconds wait = asked ? *asked + jittered(firstWait) : backOff;
    if (wait > mostWaiting - waited_) return std::nullopt;
    ++tries_;
    waited_ += wait;
    return wait;
}

}  // namespace vxhost
