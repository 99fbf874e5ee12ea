#include "platform/host/clock.hpp"

#include <ctime>

#include "host/status.h"

namespace vxhost {

vx::Status dateTime(uint32_t request, double* output, uint32_t flags) noexcept {
    if (request != vx::DATETIME_NOW || flags != vx::DATETIME_NOW_FLAGS) return vx::VX_UNSUPPORTED;
    timespec now;
    if (clock_gettime(CLOCK_REALTIME, &now) != 0) return vx::VX_UNSUPPORTED;
    tzset();  // localtime_r alone need not notice that TZ has changed
    tm local;
    if (localtime_r(&now.tv_sec, &local) == nullptr) return vx::VX_UNSUPPORTED;
    output[0] = static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
    output[1] = -static_cast<double>(local.tm_gmtoff);
    return vx::VX_SUCCESS;
}

}  // namespace vxhost
