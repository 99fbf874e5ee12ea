// The order in which a listing shows its members.
#pragma once

#include "host/quillon.h"

namespace vx {

// Sorts a chain by name, in place and stably, and returns its new head. Names compare as memory
// (4 little-endian bytes a character); where one is the beginning of another, the longer one comes
// first, so that unnamed members come last.
FileInfo* squillonSortByName(FileInfo* chain);

}  // namespace vx
