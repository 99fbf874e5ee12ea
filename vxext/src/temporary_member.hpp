// The member that delete and rename work on: the caller's open handle, or one opened for the
// operation by the member's name.
#pragma once

#include "host/quillon.h"

namespace vx {

// Null: it could not be opened.
template <class Parms>
FileHandle* squillonAcquireMember(CollectionHandle* collection, const Parms* parms,
                                  Journal* journal) {
    if (parms->fileHandle) return parms->fileHandle;
    FileHandleParms handleParms{};
    handleParms.memberName = parms->memberName;
    handleParms.memberNameLength = parms->memberNameLength;
    handleParms.nameTranscoder = parms->nameTranscoder;
    handleParms.pathTranscoder = parms->pathTranscoder;
    return collection->extension->operations.quillonFileHandleAcquire(collection, &handleParms,
                                                                      journal);
}

// Hands the member's last HTTP status to the caller, whose own handle stays open.
template <class Parms>
void squillonReleaseMember(FileHandle* member, Parms* parms) {
    parms->status = member->status;
    if (!parms->fileHandle) member->extension->operations.quillonFileHandleRelease(member);
}

}  // namespace vx
