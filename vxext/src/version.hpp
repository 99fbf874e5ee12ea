// The version operations of an extension handle.
#pragma once

#include "host/quillon.h"

namespace vx {

// Both store 6, 1 and 1; the handle is not looked at.
Status quillonGetReqVersion(ExtensionHandle* extension, uint64_t* version, uint64_t* release,
                            uint64_t* level);
Status quillonGetVersion(ExtensionHandle* extension, uint64_t* version, uint64_t* release,
                         uint64_t* level);

}  // namespace vx
