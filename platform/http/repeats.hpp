// When, and how often, a request that may be repeated goes out again.
#pragma once

#include <chrono>
#include <optional>

#include "platform/base/settings.hpp"

namespace vxhost {

// Throws WEBLNK_INTERRUPTED when the program was interrupted.
void throwIfInterrupted(const Settings& settings);

// Throws so, too, when that happens while it waits. A time below 0 has passed.
void pause(const Settings& settings, std::chrono::milliseconds time);

class Repeats {
public:
    // How long to wait for the next try: as the server asked, else longer each time, with jitter so
    // that many clients do not come back at once. Nothing when there is no next try.
    std::optional<std::chrono::milliseconds> next(std::optional<std::chrono::seconds> asked);

private:
    int tries_ = 1;
    std::chrono::milliseconds waited_{0};
};

}  // namespace vxhost
