#include "vxext/src/datetime.hpp"

#include "runtime/kernel.hpp"

double vxzdtgmt(double* zone) {
    double now[2] = {};
    Exported_VXHandle->DateTime(vx::DATETIME_NOW, now, vx::DATETIME_NOW_FLAGS);
    if (zone) *zone = -now[1];
    return now[0];
}

namespace vx {

Status squillonCheckAge(double* reference, double created) {
    if (*reference == 0) return VX_SUCCESS;
    double zone;
    vxzdtgmt(&zone);
    *reference -= zone;
    if (squillonDateMissing(created)) return QUILLON_NO_CREATION_DATE;
    return created > *reference ? QUILLON_NEWER_FILE : VX_SUCCESS;
}

}  // namespace vx
