// MOVE (RFC 4918, 9.9) of a member within its collection.
#include "vxext/src/http_status.hpp"
#include "vxext/src/member_change.hpp"
#include "vxext/src/member_url.hpp"
#include "vxext/src/operations.hpp"
#include "vxext/src/pool_ptr.hpp"

namespace vx {
namespace {

constexpr Refusals refusals = {
    .notFound = U"quillonFileRename file not found",
    .notAllowed = U"quillonFileRename MOVE method not allowed",
    .noCreationDate = U"quillonFileRename missing creation date",
    .newer = U"quillonFileRename cannot move newer file",
};

Status makeDestination(const CollectionHandle* collection, const RenameParms* parms,
                       SecretText& destination) {
    Status rc =
        squillonMemberUrl(collection, parms->nameTranscoder, parms->newName, parms->newNameLength,
                          destination.address(), destination.lengthAddress());
    if (!destination)
        squillonLogFailure(collection->extension, U"quillonFileRename no memory for new name");
    else if (rc != VX_SUCCESS)
        squillonLogFailure(collection->extension,
                           U"quillonFileRename failure transcoding new member name rc=%X", rc);
    return rc;
}

Status sendMove(FileHandle* member, const SecretText& destination) {
    Client* client = member->client;
    if (Status rc = client->InstMove(client, 0, 0, 0, destination.get(), destination.length(), 0, 0,
                                     &member->status, 0))
        return squillonFail(member->extension, rc, U"quillonFileRename InstMove returned rc=%X",
                            rc);
    if (squillonHttpSuccess(member->status)) return VX_SUCCESS;
    if (member->status == HTTP_PRECONDITION_FAILED) return QUILLON_PRECONDITION_FAILED;
    if (member->status == HTTP_LOCKED) return QUILLON_LOCKED;
    return squillonFail(member->extension, QUILLON_UNEXPECTED_STATUS,
                        U"quillonFileRename MOVE method status=%d", member->status);
}

Status rename(CollectionHandle* collection, RenameParms* parms, Journal* journal,
              FileHandle** acquired, SecretText& destination) {
    if (!parms->newName || parms->newNameLength < 0)
        return squillonFail(collection->extension, QUILLON_NO_MEMBER_NAME,
                            U"quillonFileRename null member name");
    FileHandle* member = squillonAcquireMember(collection, parms, journal);
    if (!member) return QUILLON_NO_FILE_HANDLE;
    *acquired = member;
    // The journal is told once, at the end.
    if (Status rc = squillonCheckMember(member, parms, journal, ALLOW_MOVE, refusals, nullptr))
        return rc;
    if (Status rc = makeDestination(collection, parms, destination)) return rc;
    return sendMove(member, destination);
}

}  // namespace

Status quillonFileRename(CollectionHandle* collection, RenameParms* parms, Journal* journal) {
    const ExtensionHandle* extension = collection->extension;
    squillonTrace(extension, U"quillonFileRename called");
    FileHandle* member = nullptr;
    Status rc;
    {
        SecretText destination(extension->pool);
        rc = rename(collection, parms, journal, &member, destination);
        if (rc != VX_SUCCESS) squillonJournalStatus(extension, journal, rc);
    }
    if (member) squillonReleaseMember(member, parms);
    squillonTrace(extension, U"quillonFileRename returning rc=%X", rc);
    return rc;
}

}  // namespace vx
