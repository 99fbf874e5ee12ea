#include "runtime/kernel.hpp"

vx::Kernel* Exported_VXHandle = nullptr;
