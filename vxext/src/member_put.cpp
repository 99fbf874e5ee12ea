// Storing a member's cache file on the server without overwriting what others stored meanwhile.
#include "vxext/src/cache_file.hpp"
#include "vxext/src/datetime.hpp"
#include "vxext/src/failure.hpp"
#include "vxext/src/http_status.hpp"
#include "vxext/src/operations.hpp"
#include "vxext/src/put_request.hpp"

namespace vx {
namespace {

Status sendContent(FileHandle* member, LockObject** lock, Journal* journal) {
    Status rc = squillonSendPut(member, bquillonReadCache, lock, journal);
    if (rc != VX_SUCCESS)
        squillonLogFailure(member->extension, U"quillonFilePut InstPut failed rc=%X", rc);
    return rc;
}

// Success when the member is as it was at lockDate. One that is gone is simply written again.
Status refuseIfChanged(FileHandle* member, Journal* journal) {
    const Operations& operations = member->extension->operations;
    if (Status rc = operations.quillonFileInfo(member, nullptr, journal)) return rc;
    if (!(member->flags & FILE_EXISTS)) return VX_SUCCESS;
    const double modified = member->fileInfo->modified;
    if (!squillonDateMissing(modified) && !(modified > member->lockDate)) return VX_SUCCESS;
    return squillonFail(member->extension, QUILLON_FILE_LOST, U"quillonFilePut file lost");
}

// As squillonRefuse, but the journal comes before the log: hosts see the order.
template <class... Arguments>
Status refuseJournalFirst(const FileHandle* member, Journal* journal, Status status,
                          const LogText& text, Arguments... arguments) {
    squillonJournalStatus(member->extension, journal, status);
    return squillonFail(member->extension, status, text, arguments...);
}

Status outcomeUnderLock(const FileHandle* member, Journal* journal) {
    if (squillonHttpSuccess(member->status)) return VX_SUCCESS;
    if (member->status == HTTP_INSUFFICIENT_STORAGE) return QUILLON_INSUFFICIENT_STORAGE;
    return refuseJournalFirst(member, journal, QUILLON_UNEXPECTED_STATUS,
                              U"quillonFilePut PUT returned status=%d", member->status);
}

Status outcomeWithoutLock(const FileHandle* member, Journal* journal) {
    if (squillonHttpSuccess(member->status)) return VX_SUCCESS;
    if (member->status == HTTP_LOCKED) return QUILLON_LOCKED;
    if (member->status == HTTP_INSUFFICIENT_STORAGE) return QUILLON_INSUFFICIENT_STORAGE;
    return squillonRefuse(member->extension, journal, QUILLON_UNEXPECTED_STATUS,
                          U"quillonFilePut PUT returned status=%d", member->status);
}

// Replaces the lock that the server no longer knows.
Status lockAgain(FileHandle* member, Journal* journal) {
    member->lock->Destroy(member->lock);
    member->lock = nullptr;
    member->lock =
        member->client->InstLock(member->client, &member->lockParms, &member->status, journal, 0);
    squillonJournalSentence(member->extension, journal, JOURNAL_NOTE,
                            U"LOCK method returned status = %d", member->status);
    if (squillonHttpSuccess(member->status) && member->lock) return VX_SUCCESS;
    return squillonRefuse(member->extension, journal, QUILLON_PUT_LOCK_FAILED,
                          U"quillonFilePut LOCK method returned status=%d", member->status);
}

Status putUnderNewLock(FileHandle* member, Journal* journal) {
    if (Status rc = lockAgain(member, journal)) return rc;
    if (Status rc = refuseIfChanged(member, journal)) return rc;
    if (Status rc = sendContent(member, &member->lock, journal)) return rc;
    return outcomeUnderLock(member, journal);  // a second 412 is a refusal like others
}

// The new lock was the upload's own. A server that keeps it leaves the object with the member; that
// turns a success into a failure, but hides none.
Status giveBackLock(FileHandle* member, Journal* journal, Status result) {
    if (!member->lock) return result;
    member->lock->InstUnlock(member->lock, &member->status);
    squillonJournalSentence(member->extension, journal, JOURNAL_NOTE,
                            U"UNLOCK method returned status = %d", member->status);
    if (squillonHttpSuccess(member->status)) {
        member->lock->Destroy(member->lock);
        member->lock = nullptr;
        return result;
    }
    squillonLogFailure(member->extension, U"quillonFilePut UNLOCK returned status=%d",
                       member->status);
    return result == VX_SUCCESS ? QUILLON_UNEXPECTED_STATUS : result;
}

Status putUnderLock(FileHandle* member, Journal* journal) {
    if (Status rc = sendContent(member, &member->lock, journal)) return rc;
    if (member->status != HTTP_PRECONDITION_FAILED) return outcomeUnderLock(member, journal);
    return giveBackLock(member, journal, putUnderNewLock(member, journal));
}

Status putWithoutLock(FileHandle* member, Journal* journal) {
    if (!squillonDateMissing(member->lockDate))
        if (Status rc = refuseIfChanged(member, journal)) return rc;
    if (Status rc = sendContent(member, nullptr, journal)) return rc;
    return outcomeWithoutLock(member, journal);
}

Status put(FileHandle* member, Journal* journal) {
    if (!(member->allow & ALLOW_PUT_MASK))
        return refuseJournalFirst(member, journal, QUILLON_METHOD_NOT_ALLOWED,
                                  U"quillonFilePut method not allowed");
    return member->lock ? putUnderLock(member, journal) : putWithoutLock(member, journal);
}

}  // namespace

Status quillonFilePut(FileHandle* member, void*, Journal* journal) {
    member->status = -1;
    squillonTrace(member->extension, U"quillonFilePut called");
    Status rc = put(member, journal);
    squillonTrace(member->extension, U"quillonFilePut returning rc=%X", rc);
    return rc;
}

}  // namespace vx
