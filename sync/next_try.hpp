// When what failed is tried again. No I/O and no clock.
#pragma once

#include "client/time.hpp"
#include "sync/state.hpp"

namespace quillon::sync {

// Of what has failed so many times in a row, at that moment for the last time.
Time nextTry(unsigned times, Time failed);

// Whether it waits still. changed: it, since 1970, as far as its times tell; what is another thing
// than the one that failed does not wait. Nor does what failed by a clock that was set back since.
bool waits(const Failed& failed, Time now, Time changed = {});

}  // namespace quillon::sync
