// DELETE (RFC 4918, 9.6) of a member that is no newer than the caller knows it.
#include "vxext/src/http_status.hpp"
#include "vxext/src/member_change.hpp"
#include "vxext/src/operations.hpp"

namespace vx {
namespace {

constexpr Refusals refusals = {
    .notFound = U"quillonFileDelete file not found",
    .notAllowed = U"quillonFileDelete DELETE method not allowed",
    .noCreationDate = U"quillonFileDelete missing creation date",
    .newer = U"quillonFileDelete newer file cannot be deleted",
};

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
    Status rc = squillonCheckMember(member, parms, journal, ALLOW_DELETE, refusals, journal);
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
