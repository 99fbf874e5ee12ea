// Finds and loads the shared library of the extension.
#pragma once

#include <filesystem>

#include "host/quillon.h"

namespace vxhost {

// The entry of the library, which knows our kernel from now on and stays loaded. An empty path: the
// library beside the running program (../lib/libquillon.so), else the one that QUILLON_LIBRARY
// names, else the dynamic linker's. Throws a Failure that says which library, why, and what to do.
vx::quillonFunction* loadExtensionEntry(const std::filesystem::path& path);

}  // namespace vxhost
