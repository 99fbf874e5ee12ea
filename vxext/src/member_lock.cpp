// Locking a member and giving the lock back (RFC 4918, 6 and 7).
#include <cstring>

#include "vxext/src/cache_file.hpp"
#include "vxext/src/datetime.hpp"
#include "vxext/src/failure.hpp"
#include "vxext/src/http_status.hpp"
#include "vxext/src/operations.hpp"
#include "vxext/src/pool_ptr.hpp"
#include "vxext/src/put_request.hpp"

namespace vx {
namespace {

Status askOptions(FileHandle* member) {
    if (Status rc =
            member->client->InstOptions(member->client, 0, &member->status, &member->allow, 0))
        return squillonFail(member->extension, rc, U"quillonFileLock InstOptions failed rc=%X", rc);
    if (!squillonHttpSuccess(member->status))
        return squillonFail(member->extension, QUILLON_UNEXPECTED_STATUS,
                            U"quillonFileLock OPTIONS returned status=%d", member->status);
    return VX_SUCCESS;
}

// A member that the server does not have is created empty; any other answer to HEAD is left to the
// LOCK that follows.
Status createMissing(FileHandle* member, Journal* journal) {
    if (Status rc = member->client->InstHead(member->client, &member->status))
        return squillonFail(member->extension, rc, U"quillonFileLock InstHead failed rc=%X", rc);
    if (member->status != HTTP_NOT_FOUND) return VX_SUCCESS;
    if (Status rc = squillonSendPut(member, squillonReadNull, nullptr, journal))
        return squillonFail(member->extension, rc, U"quillonFileLock InstPut failed rc=%X", rc);
    if (squillonHttpSuccess(member->status)) return VX_SUCCESS;
    if (member->status == HTTP_LOCKED) return QUILLON_LOCKED;
    return squillonFail(member->extension, QUILLON_UNEXPECTED_STATUS,
                        U"quillonFileLock PUT returned status=%d", member->status);
}

// Built once: later locks of the handle reuse the text.
Status makeOwner(FileHandle* member) {
    if (member->lockParms.owner) return VX_SUCCESS;
    constexpr char32_t intro[] = U"ZEB DATADIR.  User = ";
    constexpr uint64_t introLength = sizeof intro / sizeof(char32_t) - 1;
    const CollectionHandle* collection = member->collection;
    const uint64_t length = introLength + collection->userLength;
    auto* owner = squillonAlloc<char32_t>(member->extension->pool, length);
    if (!owner)
        return squillonFail(member->extension, VX_NO_MEMORY,
                            U"quillonFileLock no memory for lockparms");
    std::memcpy(owner, intro, introLength * sizeof(char32_t));
    if (collection->userLength > 0)
        std::memcpy(owner + introLength, collection->user,
                    collection->userLength * sizeof(char32_t));
    member->lockParms.owner = owner;
    member->lockParms.ownerLength = length;
    return VX_SUCCESS;
}

void setLockParms(LockParms* parms, LockRequest* request) {
    parms->at00 = 0;
    parms->option = request->flags & LOCK_OPTION_ZERO ? 0 : 1;
    parms->at0C = 0;
    parms->at10 = 0;
    if (request->flags & LOCK_WITH_BLOCK) {
        parms->block = request->block;
    } else {
        request->block = {};
        parms->block.flags |= LOCK_BLOCK_DEFAULTS;
    }
}

Status sendLock(FileHandle* member, Journal* journal) {
    member->status = 0;
    // Kept whatever the status: the release operation unlocks and destroys what is there.
    member->lock =
        member->client->InstLock(member->client, &member->lockParms, &member->status, journal, 0);
    squillonJournalSentence(member->extension, journal, JOURNAL_NOTE,
                            U"LOCK method returned status = %d.", member->status);
    if (member->status / 100 <= 2 && member->lock) return VX_SUCCESS;
    squillonLogFailure(member->extension, U"quillonFileLock LOCK returned status=%d",
                       member->status);
    return member->status == HTTP_LOCKED ? QUILLON_LOCKED : QUILLON_LOCK_FAILED;
}

Status takeLock(FileHandle* member, LockRequest* request, Journal* journal) {
    if (Status rc = askOptions(member)) return rc;
    if (!(member->allow & ALLOW_LOCK)) return QUILLON_LOCK_NOT_SUPPORTED;
    if (member->lock) return QUILLON_ALREADY_LOCKED;
    if (request->flags & LOCK_CREATE)
        if (Status rc = createMissing(member, journal)) return rc;
    if (Status rc = makeOwner(member)) return rc;
    setLockParms(&member->lockParms, request);
    return sendLock(member, journal);
}

// What an upload compares with to see whether somebody else changed the member.
void noteDate(FileHandle* member, Journal* journal) {
    Status rc = member->extension->operations.quillonFileInfo(member, nullptr, journal);
    member->lockDate = rc == VX_SUCCESS && !squillonDateMissing(member->fileInfo->modified)
                           ? member->fileInfo->modified
                           : vxzdtgmt(nullptr);
}

}  // namespace

Status quillonFileLock(FileHandle* member, LockRequest* request, Journal* journal) {
    member->status = -1;
    squillonTrace(member->extension, U"quillonFileLock called");
    Status rc = request->flags & LOCK_DATE_ONLY ? VX_SUCCESS : takeLock(member, request, journal);
    // A server that cannot lock still gets its dates compared.
    if (rc == VX_SUCCESS || rc == QUILLON_LOCK_NOT_SUPPORTED) noteDate(member, journal);
    if (rc != VX_SUCCESS) squillonJournalStatus(member->extension, journal, rc);
    squillonTrace(member->extension, U"quillonFileLock returning rc=%X", rc);
    return rc;
}

Status quillonFileLockRelease(FileHandle* member, Journal* journal) {
    member->status = -1;
    squillonTrace(member->extension, U"quillonFileLockRelease called");
    Status rc = VX_SUCCESS;
    if (LockObject* lock = member->lock) {
        rc = lock->InstUnlock(lock, &member->status);
        squillonJournalSentence(member->extension, journal, JOURNAL_NOTE,
                                U"UNLOCK method returned status = %d", member->status);
        if (!squillonHttpSuccess(member->status))
            rc = squillonFail(member->extension, QUILLON_UNEXPECTED_STATUS,
                              U"quillonFileLockRelease UNLOCK returned status=%d", member->status);
        lock->Destroy(lock);
        member->lock = nullptr;
    }
    member->lockDate = squillonMissingDate;
    return rc;
}

}  // namespace vx
