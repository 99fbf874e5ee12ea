// Times between the program's scale and the host's: seconds since 1970, a NaN when there is none.
#pragma once

#include <optional>

#include "client/time.hpp"

namespace quillon {

// Nothing for a NaN, and for what no calendar shows.
std::optional<Time> timeOf(double seconds);

// The reference of delete and rename: the same moment on the local scale that those take. Never 0,
// which would mean no check.
double localReference(Time time);

}  // namespace quillon
