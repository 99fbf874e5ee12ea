// Opening and closing a member.
#include "vxext/src/connection.hpp"
#include "vxext/src/datetime.hpp"
#include "vxext/src/failure.hpp"
#include "vxext/src/file_info.hpp"
#include "vxext/src/handle.hpp"
#include "vxext/src/http_status.hpp"
#include "vxext/src/member_url.hpp"
#include "vxext/src/operations.hpp"
#include "vxext/src/transcode.hpp"

namespace vx {
namespace {

Status takeParms(FileHandle* member, const FileHandleParms* parms) {
    if (parms->genericName) {
        member->genericName = squillonCopyGenericName(member->extension->pool, parms->genericName);
        if (!member->genericName)
            return squillonFail(member->extension, VX_NO_MEMORY,
                                U"quillonFileHandleAcquire no memory for generic name");
    }
    member->lockDate = squillonMissingDate;
    if (parms->putOptions) {
        member->putOptions = parms->putOptions;
        member->putOptionsLength = parms->putOptionsLength;
    }
    member->putCode = parms->putCode ? parms->putCode : PUT_CODE_DEFAULT;
    return VX_SUCCESS;
}

Status makePath(FileHandle* member, const FileHandleParms* parms) {
    Status rc = squillonMemberUrl(member->collection, parms->nameTranscoder, parms->memberName,
                                  parms->memberNameLength, &member->path, &member->pathLength);
    if (!member->path)
        squillonLogFailure(member->extension, U"quillonFileHandleAcquire no memory for filename");
    else if (rc != VX_SUCCESS)
        squillonLogFailure(member->extension,
                           U"quillonFileHandleAcquire collection name transcode failure rc=%X", rc);
    return rc;
}

Status reserveCacheFile(FileHandle* member) {
    const CollectionHandle* collection = member->collection;
    Fsbox* fsbox = member->extension->fsbox;
    const NameParms parms{U"WEBDAV", 6, 0, 0, NAME_FILE, 0};
    Status rc = fsbox->CreateName(fsbox, collection->cacheDir, collection->cacheDirLength, &parms,
                                  &member->cacheName, &member->cacheNameLength, 0);
    if (rc != VX_SUCCESS) {
        member->cacheName = nullptr;  // whatever the failing call left there
        squillonLogFailure(member->extension,
                           U"quillonFileHandleAcquire CreateName for cache failed rc=%X", rc);
    }
    return rc;
}

Status narrowCachePath(FileHandle* member, Transcoder* transcoder) {
    ExtensionHandle* extension = member->extension;
    Status rc =
        squillonNarrow(extension, transcoder, member->cacheName, member->cacheNameLength,
                       member->cacheNameLength, &member->cachePath, &member->cachePathLength);
    if (!member->cachePath)
        return squillonFail(extension, rc,
                            U"quillonFileHandleAcquire no memory for transcoded cache file path");
    if (rc != VX_SUCCESS && rc != VX_BUFFER_TOO_SMALL)
        squillonLogFailure(extension,
                           U"quillonFileHandleAcquire transcoding failed for cache file path rc=%X",
                           rc);
    return rc;
}

Status createClient(FileHandle* member, uint8_t clientOption, Journal* journal) {
    const CollectionHandle* collection = member->collection;
    ClientParms parms = squillonClientParms(clientOption, journal, collection->httpContext);
    squillonCopyAccess(*collection, parms);
    parms.url = member->path;
    parms.urlLength = member->pathLength;
    member->client = squillonAttemptClient(member->extension, &parms, journal);
    if (member->client) return VX_SUCCESS;
    squillonJournalSentence(
        member->extension, journal, JOURNAL_FAILURE,
        squillonCounted(U"HTTP client instance for member could not be created."));
    return squillonFail(member->extension, QUILLON_REQUEST_FAILED,
                        U"quillonFileHandleAcquire CreateClient2 failed");
}

Status askOptions(FileHandle* member) {
    int32_t* status = &member->collection->lastStatus;
    if (Status rc = member->client->InstOptions(member->client, 0, status, &member->allow, 0))
        return squillonFail(member->extension, rc,
                            U"quillonFileHandleAcquire InstOptions failed rc=%X", rc);
    if (squillonHttpSuccess(*status)) return VX_SUCCESS;
    return squillonFail(member->extension, QUILLON_UNEXPECTED_STATUS,
                        U"quillonFileHandleAcquire InstOptions unexpected status=%d", *status);
}

// A member that does not exist yet is as good as one that does.
Status askHead(FileHandle* member) {
    int32_t* status = &member->collection->lastStatus;
    if (Status rc = member->client->InstHead(member->client, status))
        return squillonFail(member->extension, rc,
                            U"quillonFileHandleAcquire InstHead failed rc=%X", rc);
    if (squillonHttpSuccess(*status)) {
        member->flags |= FILE_EXISTS;
        return VX_SUCCESS;
    }
    if (*status == HTTP_NOT_FOUND) return VX_SUCCESS;
    if (*status == HTTP_NOT_AUTHORIZED)
        return squillonFail(member->extension, QUILLON_NOT_AUTHORIZED,
                            U"quillonFileHandleAcquire collection not authorized");
    return squillonFail(member->extension, QUILLON_UNEXPECTED_STATUS,
                        U"quillonFileHandleAcquire InstHead unexpected status=%d", *status);
}

Status fill(FileHandle* member, const FileHandleParms* parms, Journal* journal) {
    if (Status rc = takeParms(member, parms)) return rc;
    if (Status rc = makePath(member, parms)) return rc;
    if (Status rc = reserveCacheFile(member)) return rc;
    if (Status rc = narrowCachePath(member, parms->pathTranscoder)) return rc;
    if (Status rc = createClient(member, parms->clientOption, journal)) return rc;
    if (Status rc = askOptions(member)) return rc;
    return askHead(member);
}

Status acquire(CollectionHandle* collection, const FileHandleParms* parms, Journal* journal,
               FileHandle** acquired) {
    ExtensionHandle* extension = collection->extension;
    if (!(collection->flags & CACHE_CREATED))
        return squillonFail(extension, QUILLON_NO_LOCAL_CACHE,
                            U"quillonFileHandleAcquire no local cache");
    if (!parms->memberName || parms->memberNameLength < 0)
        return squillonFail(extension, QUILLON_NO_MEMBER_NAME,
                            U"quillonFileHandleAcquire no member name");
    auto* member = squillonAllocRecord<FileHandle>(extension->pool);
    if (!member)
        return squillonFail(extension, VX_NO_MEMORY,
                            U"quillonFileHandleAcquire no memory for file handle");
    squillonMark(member->magic);
    member->extension = extension;
    member->collection = collection;
    member->release = quillonFileHandleRelease;

    Status rc = fill(member, parms, journal);
    if (rc == VX_SUCCESS)
        *acquired = member;
    else
        quillonFileHandleRelease(member);
    return rc;
}

}  // namespace

FileHandle* quillonFileHandleAcquire(CollectionHandle* collection, FileHandleParms* parms,
                                     Journal* journal) {
    parms->rc = VX_SUCCESS;
    collection->lastStatus = -1;
    squillonTrace(collection->extension, U"quillonFileHandleAcquire called");
    FileHandle* member = nullptr;
    parms->rc = acquire(collection, parms, journal, &member);
    squillonTrace(collection->extension, U"quillonFileHandleAcquire returning rc=%X filep=%P",
                  parms->rc, member);
    return member;
}

// A lock that is still held is neither given back nor destroyed: that is quillonFileLockRelease's.
Status quillonFileHandleRelease(FileHandle* member) {
    if (!member) return VX_SUCCESS;
    ExtensionHandle* extension = member->extension;
    squillonTrace(extension, U"quillonFileHandleRelease called");
    Status rc = VX_SUCCESS;
    squillonFree(extension->pool, member->genericName);
    squillonFreeSecret(extension->pool, member->path, member->pathLength);
    if (member->cacheName)
        rc = extension->fsbox->ReleaseName(extension->fsbox, member->cacheName, 0);
    squillonFree(extension->pool, member->cachePath);
    if (member->client) rc = member->client->Destroy(member->client);
    squillonFileInfoRelease(extension->pool, member->fileInfo);
    squillonFree(extension->pool, member->lockParms.owner);
    extension->pool->Free(extension->pool, member);
    return rc;
}

}  // namespace vx
