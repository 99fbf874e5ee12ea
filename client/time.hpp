// Points in time as servers know them: UTC, to the millisecond.
#pragma once

#include <chrono>

namespace quillon {

using Time = std::chrono::sys_time<std::chrono::milliseconds>;

}  // namespace quillon
