// The local cache file of a member, and the callbacks that move a body between it and the server.
#pragma once

#include "host/quillon.h"

namespace vx {

// Opens the cache file for FSBOX_READ or FSBOX_WRITE. Null: *status says why. The caller closes it.
File* squillonOpenCacheFile(FileHandle* member, uint32_t mode, uint64_t bufferLength,
                            Journal* journal, Status* status);

// Appends a piece of a GET's body to the open cache file.
Status bquillonWriteCache(WriteCallback* record, const void* data, uint64_t length);

// The next piece of the cache file, which is opened by the first call and closed at its end and
// after a failure. A client that stops before leaves the open file in the record.
Status bquillonReadCache(ReadCallback* record, const void** data, uint64_t* length);

// An empty body.
Status squillonReadNull(ReadCallback* record, const void** data, uint64_t* length);

}  // namespace vx
