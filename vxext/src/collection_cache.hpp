// The local cache directory of a collection.
#pragma once

#include "host/quillon.h"

namespace vx {

// Finds a free name for the directory, below the parent or, where that is null, wherever the
// toolbox keeps caches, creates it and makes its narrow path. What a failure leaves in the handle
// is released with it.
//   QUILLON_REQUEST_FAILED: 256 names were all taken. Else VX_NO_MEMORY, or a status of the file
//   layer, the toolbox or the transcoder.
Status squillonMakeCache(CollectionHandle* collection, Transcoder* pathTranscoder,
                         const char32_t* parent, uint64_t parentLength);

// Gives cacheDir, or null, back to whom it came from.
void squillonReleaseCacheName(CollectionHandle* collection);

}  // namespace vx
