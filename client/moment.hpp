// Times between the program's scale and the host's: seconds since 1970, a NaN when there is none.
#pragma once

#include <optional>

#include "client/time.hpp"

namespace quillon {

// Nothing for a NaN, and outside the years 0 to 9999, which RFC 3339 has no words for.
std::optional<Time> timeOf(double seconds);

// The reference of delete and rename: the same moment on the local scale that those take. Never 0,
// which would mean no check.
double localReference(Time time);

}  // namespace quillon
