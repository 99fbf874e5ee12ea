// URLs of members.
#pragma once

#include "host/quillon.h"

namespace vx {

// The collection's URL and the caller's name behind it, as a new text of the pool with its length
// in characters. Null: no memory. After a failure of the transcoder the block, all zero, stays in
// *url for the caller to free, and *length is 0.
Status squillonMemberUrl(const CollectionHandle* collection, Transcoder* transcoder,
                         const char* name, int64_t nameBytes, char32_t** url, uint64_t* length);

}  // namespace vx
