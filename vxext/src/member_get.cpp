// Fetching a member into its cache file.
#include "vxext/src/cache_file.hpp"
#include "vxext/src/failure.hpp"
#include "vxext/src/operations.hpp"

namespace vx {
namespace {

constexpr uint64_t writeBuffer = 1024;  // in bytes

Status fetch(FileHandle* member, FileGetParms* parms, Journal* journal, WriteCallback* record) {
    ExtensionHandle* extension = member->extension;
    if (!(member->flags & FILE_EXISTS))
        return squillonRefuse(extension, journal, QUILLON_FILE_NOT_FOUND,
                              U"quillonFileGet file not found");
    if (!(member->allow & ALLOW_GET))
        return squillonRefuse(extension, journal, QUILLON_METHOD_NOT_ALLOWED,
                              U"quillonFileGet GET method not allowed");

    Status rc;
    record->file = squillonOpenCacheFile(member, FSBOX_WRITE, writeBuffer, journal, &rc);
    if (!record->file)
        return squillonFail(extension, rc, U"quillonFileGet fsboxOpen returned rc=%X", rc);
    record->callback = bquillonWriteCache;
    rc = member->client->InstGet(member->client, parms ? &parms->options : nullptr, 0, 0,
                                 &member->status, record);
    if (rc == VX_SUCCESS) return VX_SUCCESS;
    squillonLogFailure(extension, U"quillonFileGet InstGet returned rc=%X status=%d", rc,
                       member->status);
    squillonJournalSentence(extension, journal, JOURNAL_FAILURE,
                            squillonCounted(U"GET method failed. Status = %d"), member->status);
    return QUILLON_REQUEST_FAILED;
}

}  // namespace

Status quillonFileGet(FileHandle* member, FileGetParms* parms, Journal* journal) {
    member->status = -1;
    WriteCallback record{nullptr, nullptr, journal};
    squillonTrace(member->extension, U"quillonFileGet called");
    Status rc = fetch(member, parms, journal, &record);
    if (record.file) record.file->Close(record.file);
    squillonTrace(member->extension, U"quillonFileGet returning rc=%X", rc);
    return rc;
}

}  // namespace vx
