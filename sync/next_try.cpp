#include "sync/next_try.hpp"

#include <algorithm>
#include <chrono>

namespace quillon::sync {
namespace {

constexpr unsigned freeTries = 2;  // after which what fails waits
constexpr std::chrono::minutes firstWait{1}, longestWait{60};

std::chrono::minutes waitAfter(unsigned times) {
    if (times <= freeTries) return {};
    const unsigned doublings = std::min(times - freeTries - 1, 6U);
    return std::min<std::chrono::minutes>(firstWait * (1 << doublings), longestWait);
}

}  // namespace

Time nextTry(unsigned times, Time failed) {
    return failed + waitAfter(times);
}

bool waits(const Failed& failed, Time now, Time changed) {
    const Time when = failed.notBefore - waitAfter(failed.times);
    return now < failed.notBefore && when <= now && changed <= when;
}

}  // namespace quillon::sync
