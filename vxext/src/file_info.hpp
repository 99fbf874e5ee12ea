// The record of one member, filled from the server's answer to a PROPFIND.
#pragma once

#include "host/quillon.h"

namespace vx {

// Frees the narrow name and makes the record that of an unknown member: zero, both dates missing.
void squillonFileInfoReset(Pool* pool, FileInfo* info);

// Frees the record and its narrow name. Null is accepted.
void squillonFileInfoRelease(Pool* pool, FileInfo* info);

// Fills a record, zero-filled or used before, from a response element; name and href then point
// into its document. Without a transcoder there is no narrow name and no display name. After a
// failure the record is not to be used, but is still released as ever.
//   QUILLON_BAD_RESPONSE: no propstat or no prop. VX_NO_MEMORY, or a status of the transcoder: no
//   narrow form of the name.
Status squillonFileInfoRetrieve(ExtensionHandle* extension, Transcoder* transcoder,
                                const Node* response, FileInfo* info, Journal* journal);

}  // namespace vx
