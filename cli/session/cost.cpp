#include "cli/session/cost.hpp"

#include <fmt/format.h>

#include "cli/terminal/format.hpp"

namespace quillon::cli {
namespace {

std::string counted(uint64_t number, std::string_view what) {
    return fmt::format("{} {}{}", number, what, number == 1 ? "" : "s");
}

}  // namespace

void Cost::add(const Traffic& traffic) {
    const std::lock_guard lock(mutex_);
    sum_.requests += traffic.requests;
    sum_.roundTrips += traffic.roundTrips;
    sum_.connections += traffic.connections;
    sum_.bytesUp += traffic.bytesUp;
    sum_.bytesDown += traffic.bytesDown;
}

std::string Cost::text() const {
    const std::lock_guard lock(mutex_);
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begun_;
    return fmt::format("{}, {}, {}, {} up, {} down, {:.2f} s", counted(sum_.requests, "request"),
                       counted(sum_.roundTrips, "round trip"),
                       counted(sum_.connections, "connection"), shortSize(sum_.bytesUp),
                       shortSize(sum_.bytesDown), took.count());
}

}  // namespace quillon::cli
