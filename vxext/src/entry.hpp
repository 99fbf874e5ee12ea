// What the host finds by name (host/quillon.h): versions, the kernel's registration, the entry.
#pragma once

#include "host/quillon.h"

#pragma GCC visibility push(default)
extern "C" {

vx::Status vxextver(vx::Kernel* kernel, uint64_t* major, uint64_t* minor);
vx::Status vxextent(vx::Kernel* kernel);
vx::Status vxvercn1(void* destination);

// Null, and nothing left behind, after any failure. The kernel is registered before. context goes
// unchanged to the host's CreatePool and LoadExtension.
vx::ExtensionHandle* quillon(vx::Host* host, void* context);

}  // extern "C"
#pragma GCC visibility pop
