// The kernel of the host process, as vxextver or vxextent registered it.
#pragma once

#include "host/kernel.h"

// Null until registered. Written once, before any other call, and read at each use: what the kernel
// offers (the encoding and the case service) may come and go.
extern "C" vx::Kernel* Exported_VXHandle;
