// Date-times: 64-bit floats on the host's scale, a later moment is greater, a NaN is a missing one.
#pragma once

#include <bit>

#include "host/quillon.h"

// The current date-time in GMT. *zone, unless null, receives what is to be subtracted from a local
// date-time to make it GMT. Exported.
#pragma GCC visibility push(default)
extern "C" double vxzdtgmt(double* zone);
#pragma GCC visibility pop

namespace vx {

constexpr double squillonMissingDate = std::bit_cast<double>(MISSING_DATETIME);

inline bool squillonDateMissing(double date) {
    return __builtin_isnan(date);
}

// The age check of delete and rename, for a member created at that date. A reference of 0 asks for
// none; another one is local and is turned into GMT in place.
//   QUILLON_NO_CREATION_DATE, or QUILLON_NEWER_FILE for a member created after the reference.
Status squillonCheckAge(double* reference, double created);

}  // namespace vx
