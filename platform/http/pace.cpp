#include "platform/http/pace.hpp"

#include <algorithm>
#include <map>

namespace vxhost {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds shortest{10}, first{50}, longest{1000};  // intervals
constexpr unsigned answersToSpeedUp = 8;

}  // namespace

std::shared_ptr<Pace> Pace::of(const std::string& origin) {
    static std::mutex mutex;
    static std::map<std::string, std::shared_ptr<Pace>> paces;
    const std::lock_guard lock(mutex);
    auto& pace = paces[origin];
    if (!pace) pace = std::make_shared<Pace>();
    return pace;
}

bool Pace::beginsNext(Clock::time_point now) {
    const std::lock_guard lock(mutex_);
    if (now < notBefore_) return false;
    notBefore_ = now + interval_;
    return true;
}

void Pace::noteAnswer() {
    const std::lock_guard lock(mutex_);
    if (interval_.count() == 0 || ++answers_ < answersToSpeedUp) return;
    answers_ = 0;
    interval_ /= 2;
    if (interval_ < shortest) interval_ = interval_.zero();
}

void Pace::noteBusy(Clock::time_point now, Clock::time_point notBefore) {
    const std::lock_guard lock(mutex_);
    notBefore_ = std::max(notBefore_, notBefore);
    answers_ = 0;
    // Those that were under way together are told so together.
    if (interval_.count() > 0 && now - changed_ < longest) return;
    interval_ = std::clamp(interval_ * 2, first, longest);
    changed_ = now;
}

SpeedLimit& SpeedLimit::ofUploads() {
    static SpeedLimit limit;
    return limit;
}

SpeedLimit& SpeedLimit::ofDownloads() {
    static SpeedLimit limit;
    return limit;
}

SpeedLimit::Clock::time_point SpeedLimit::notBefore() const {
    const std::lock_guard lock(mutex_);
    return notBefore_;
}

void SpeedLimit::noteMoved(Clock::time_point begun, uint64_t bytes, uint64_t speed) {
    const std::chrono::duration<double> time(static_cast<double>(bytes) /
                                             static_cast<double>(speed));
    const std::lock_guard lock(mutex_);
    notBefore_ = std::max(notBefore_, begun) + std::chrono::duration_cast<Clock::duration>(time);
}

}  // namespace vxhost
