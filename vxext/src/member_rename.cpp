// MOVE (RFC 4918, 9.9) of a member within its collection.
#include <cstring>

#include "vxext/src/datetime.hpp"
#include "vxext/src/failure.hpp"
#include "vxext/src/http_status.hpp"
#include "vxext/src/operations.hpp"
#include "vxext/src/pool_ptr.hpp"
#include "vxext/src/temporary_member.hpp"

namespace vx {
namespace {

Status checkMovable(FileHandle* member, RenameParms* parms, Journal* journal) {
    const ExtensionHandle* extension = member->extension;
    member->status = -1;
    if (Status rc = extension->operations.quillonFileInfo(member, parms->pathTranscoder, journal))
        return rc;
    if (!(member->flags & FILE_EXISTS))
        return squillonFail(extension, QUILLON_FILE_NOT_FOUND, U"quillonFileRename file not found");
    if (!(member->allow & ALLOW_MOVE))
        return squillonFail(extension, QUILLON_METHOD_NOT_ALLOWED,
                            U"quillonFileRename MOVE method not allowed");
    switch (squillonCheckAge(&parms->referenceTime, member->fileInfo->created)) {
        case QUILLON_NO_CREATION_DATE:
            return squillonFail(extension, QUILLON_NO_CREATION_DATE,
                                U"quillonFileRename missing creation date");
        case QUILLON_NEWER_FILE:
            return squillonFail(extension, QUILLON_NEWER_FILE,
                                U"quillonFileRename cannot move newer file");
        default:
            return VX_SUCCESS;
    }
}

// The collection's URL and the new name, of which every byte makes one character at most.
Status makeDestination(const CollectionHandle* collection, const RenameParms* parms,
                       PoolPtr<char32_t>& destination, uint64_t* length) {
    ExtensionHandle* extension = collection->extension;
    const uint64_t nameRoom = uint64_t(parms->newNameLength);
    char32_t* text = squillonAlloc<char32_t>(extension->pool, collection->urlLength + nameRoom);
    if (!text)
        return squillonFail(extension, VX_NO_MEMORY, U"quillonFileRename no memory for new name");
    *destination.address() = text;
    std::memcpy(text, collection->url, collection->urlLength * sizeof(char32_t));

    uint64_t produced = 0;
    Transcoder* transcoder = parms->nameTranscoder;
    Status rc =
        transcoder->Transcode(transcoder, parms->newName, nameRoom, text + collection->urlLength,
                              nameRoom * sizeof(char32_t), &produced, 0);
    if (rc != VX_SUCCESS)
        return squillonFail(extension, rc,
                            U"quillonFileRename failure transcoding new member name rc=%X", rc);
    *length = collection->urlLength + produced / sizeof(char32_t);
    return VX_SUCCESS;
}

Status sendMove(FileHandle* member, const char32_t* destination, uint64_t length) {
    Client* client = member->client;
    if (Status rc =
            client->InstMove(client, 0, 0, 0, destination, length, 0, 0, &member->status, 0))
        return squillonFail(member->extension, rc, U"quillonFileRename InstMove returned rc=%X",
                            rc);
    if (squillonHttpSuccess(member->status)) return VX_SUCCESS;
    if (member->status == HTTP_PRECONDITION_FAILED) return QUILLON_PRECONDITION_FAILED;
    if (member->status == HTTP_LOCKED) return QUILLON_LOCKED;
    return squillonFail(member->extension, QUILLON_UNEXPECTED_STATUS,
                        U"quillonFileRename MOVE method status=%d", member->status);
}

Status rename(CollectionHandle* collection, RenameParms* parms, Journal* journal,
              FileHandle** acquired, PoolPtr<char32_t>& destination) {
    if (!parms->newName || parms->newNameLength < 0)
        return squillonFail(collection->extension, QUILLON_NO_MEMBER_NAME,
                            U"quillonFileRename null member name");
    FileHandle* member = squillonAcquireMember(collection, parms, journal);
    if (!member) return QUILLON_NO_FILE_HANDLE;
    *acquired = member;
    if (Status rc = checkMovable(member, parms, journal)) return rc;
    uint64_t length;
    if (Status rc = makeDestination(collection, parms, destination, &length)) return rc;
    return sendMove(member, destination.get(), length);
}

}  // namespace

Status quillonFileRename(CollectionHandle* collection, RenameParms* parms, Journal* journal) {
    const ExtensionHandle* extension = collection->extension;
    squillonTrace(extension, U"quillonFileRename called");
    FileHandle* member = nullptr;
    Status rc;
    {
        PoolPtr<char32_t> destination(extension->pool, nullptr);
        rc = rename(collection, parms, journal, &member, destination);
        if (rc != VX_SUCCESS) squillonJournalStatus(extension, journal, rc);
    }
    if (member) squillonReleaseMember(member, parms);
    squillonTrace(extension, U"quillonFileRename returning rc=%X", rc);
    return rc;
}

}  // namespace vx
