// The body that every PROPFIND of the extension sends (RFC 4918, 9.1): all properties.
#pragma once

#include "host/quillon.h"

namespace vx {

// The request as a document, which the caller destroys after the request; null when the XML layer
// made none.
Document* squillonCreatePropfindRequest(const ExtensionHandle* extension, Journal* journal);

// The callbacks of a stream over one block of memory. The first read hands out the whole block, the
// next one answers VX_END_OF_DATA; the others have nothing to do.
Status XMLBlobStreamOpen(BlobStream* stream);
Status XMLBlobStreamClose(BlobStream* stream);
Status XMLBlobStreamResolve(BlobStream* stream);
Status XMLBlobStreamRead(BlobStream* stream, const void** data, uint64_t* length);

}  // namespace vx
