// What delete and rename have in common: the member that they work on, and what it is spared for.
#pragma once

#include "vxext/src/datetime.hpp"
#include "vxext/src/failure.hpp"

namespace vx {

// The caller's open handle, or one opened for the operation by the member's name. Null: it could
// not be opened.
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

// What an operation logs about a member that it leaves alone.
struct Refusals {
    LogText notFound;
    LogText notAllowed;
    LogText noCreationDate;
    LogText newer;
};

// Brings the member up to date. Success when it exists, the server allows the method on it, and it
// is no newer than the caller knows it. A refusal is logged, and told to refusalJournal unless that
// is null.
template <class Parms>
Status squillonCheckMember(FileHandle* member, Parms* parms, Journal* journal, uint32_t method,
                           const Refusals& refusals, Journal* refusalJournal) {
    const ExtensionHandle* extension = member->extension;
    const auto refuse = [=](Status status, const LogText& text) {
        return squillonRefuse(extension, refusalJournal, status, text);
    };
    member->status = -1;
    if (Status rc = extension->operations.quillonFileInfo(member, parms->pathTranscoder, journal))
        return rc;
    if (!(member->flags & FILE_EXISTS)) return refuse(QUILLON_FILE_NOT_FOUND, refusals.notFound);
    if (!(member->allow & method)) return refuse(QUILLON_METHOD_NOT_ALLOWED, refusals.notAllowed);
    switch (const Status rc = squillonCheckAge(&parms->referenceTime, member->fileInfo->created)) {
        case QUILLON_NO_CREATION_DATE:
            return refuse(rc, refusals.noCreationDate);
        case QUILLON_NEWER_FILE:
            return refuse(rc, refusals.newer);
        default:
            return rc;
    }
}

}  // namespace vx
