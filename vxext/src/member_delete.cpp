// DELETE (RFC 4918, 9.6) of a member that is no newer than the caller knows it.
#include "vxext/src/datetime.hpp"
#include "vxext/src/failure.hpp"
#include "vxext/src/http_status.hpp"
#include "vxext/src/operations.hpp"
#include "vxext/src/temporary_member.hpp"

namespace vx {
namespace {

Status checkDeletable(FileHandle* member, DeleteParms* parms, Journal* journal) {
    const ExtensionHandle* extension = member->extension;
    member->status = -1;
    if (Status rc = extension->operations.quillonFileInfo(member, parms->pathTranscoder, journal))
        return rc;
    if (!(member->flags & FILE_EXISTS))
        return squillonRefuse(extension, journal, QUILLON_FILE_NOT_FOUND,
                              U"quillonFileDelete file not found");
    if (!(member->allow & ALLOW_DELETE))
        return squillonRefuse(extension, journal, QUILLON_METHOD_NOT_ALLOWED,
                              U"quillonFileDelete DELETE method not allowed");
    switch (squillonCheckAge(&parms->referenceTime, member->fileInfo->created)) {
        case QUILLON_NO_CREATION_DATE:
            return squillonRefuse(extension, journal, QUILLON_NO_CREATION_DATE,
                                  U"quillonFileDelete missing creation date");
        case QUILLON_NEWER_FILE:
            return squillonRefuse(extension, journal, QUILLON_NEWER_FILE,
                                  U"quillonFileDelete newer file cannot be deleted");
        default:
            return VX_SUCCESS;
    }
}

Status sendDelete(FileHandle* member, Journal* journal) {
    Client* client = member->client;
    if (Status rc = client->httpInstDelete(client, 0, 0, &member->status))
        return squillonFail(member->extension, rc, U"quillonFileDelete DELETE method failed rc=%X",
                            rc);
    if (squillonHttpSuccess(member->status)) return VX_SUCCESS;
    return squillonRefuse(member->extension, journal, QUILLON_UNEXPECTED_STATUS,
                          U"quillonFileDelete DELETE returned status=%d", member->status);
}

Status deleteMember(CollectionHandle* collection, DeleteParms* parms, Journal* journal) {
    FileHandle* member = squillonAcquireMember(collection, parms, journal);
    if (!member) return QUILLON_NO_FILE_HANDLE;
    Status rc = checkDeletable(member, parms, journal);
    if (rc == VX_SUCCESS) rc = sendDelete(member, journal);
    squillonReleaseMember(member, parms);
    return rc;
}

}  // namespace

Status quillonFileDelete(CollectionHandle* collection, DeleteParms* parms, Journal* journal) {
    squillonTrace(collection->extension, U"quillonFileDelete called");
    Status rc = deleteMember(collection, parms, journal);
    // What became of a deletion is worth more than a trace.
    squillonLogFailure(collection->extension, U"quillonFileDelete returning rc=%X", rc);
    return rc;
}

}  // namespace vx
