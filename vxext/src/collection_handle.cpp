// Opening and closing a collection.
#include "vxext/src/connection.hpp"
#include "vxext/src/failure.hpp"
#include "vxext/src/handle.hpp"
#include "vxext/src/http_status.hpp"
#include "vxext/src/operations.hpp"
#include "vxext/src/transcode.hpp"

namespace vx {
namespace {

// Converts one text of the caller, and logs which of the two went wrong.
Status takeText(ExtensionHandle* extension, const CollectionParms* parms, const char* source,
                int64_t sourceBytes, char32_t** text, uint64_t* length, const LogText& noRoom,
                const LogText& notTranscoded) {
    Status status =
        squillonTranscode(extension, parms->textTranscoder, source, sourceBytes, text, length);
    if (status == VX_SUCCESS) return status;
    if (!*text) return squillonFail(extension, VX_NO_MEMORY, noRoom);
    squillonLogFailure(extension, notTranscoded, status);
    return status;
}

Status takeUrl(CollectionHandle* collection, const CollectionParms* parms) {
    ExtensionHandle* extension = collection->extension;
    if (!parms->url || parms->urlLength < 1) {
        squillonLogFailure(extension, U"quillonCollectionHandleAcquire invalid collection URL");
        return QUILLON_BAD_URL;
    }
    Status status = takeText(
        extension, parms, parms->url, parms->urlLength, &collection->url, &collection->urlLength,
        U"quillonCollectionHandleAcquire no memory for transcoded collection URL",
        U"quillonCollectionHandleAcquire error transcoding collection URL, rc=%X");
    if (status != VX_SUCCESS) return status;
    if (collection->urlLength == 0 || collection->url[collection->urlLength - 1] != U'/') {
        squillonLogFailure(extension,
                           U"quillonCollectionHandleAcquire collection URL does not end in slash");
        return QUILLON_BAD_URL;
    }
    return VX_SUCCESS;
}

// A negative length stands for a text that is not given.
int64_t givenBytes(int64_t length) {
    return length < 0 ? 0 : length;
}

Status takeCredentials(CollectionHandle* collection, const CollectionParms* parms) {
    ExtensionHandle* extension = collection->extension;
    Status status = takeText(extension, parms, parms->proxy, givenBytes(parms->proxyLength),
                             &collection->proxy, &collection->proxyLength,
                             U"quillonCollectionHandleAcquire no memory for transcoded proxy URL",
                             U"quillonCollectionHandleAcquire error transcoding proxy URL, rc=%X");
    if (status != VX_SUCCESS) return status;
    status = takeText(extension, parms, parms->user, givenBytes(parms->userLength),
                      &collection->user, &collection->userLength,
                      U"quillonCollectionHandleAcquire no memory for transcoded username",
                      U"quillonCollectionHandleAcquire error transcoding username, rc=%X");
    if (status != VX_SUCCESS) return status;
    return takeText(extension, parms, parms->password, givenBytes(parms->passwordLength),
                    &collection->password, &collection->passwordLength,
                    U"quillonCollectionHandleAcquire no memory for transcoded password",
                    U"quillonCollectionHandleAcquire error transcoding password, rc=%X");
}

uint32_t listingFlags(uint32_t options) {
    return (options & LIST_COLLECTIONS_OPTION ? LIST_INCLUDE_COLLECTIONS : 0) |
           (options & COUNT_ONLY_OPTION ? LIST_COUNT_ONLY : 0);
}

void releaseCacheName(CollectionHandle* collection) {
    if (!collection->cacheDir) return;
    ExtensionHandle* extension = collection->extension;
    if (collection->flags & CACHE_FROM_UTILLOC)
        extension->toolbox->FreeLocation(extension->toolbox, collection->cacheDir);
    else
        extension->fsbox->ReleaseName(extension->fsbox, collection->cacheDir, 0);
    collection->cacheDir = nullptr;
}

// A name for a directory below the parent, or without one wherever the toolbox keeps caches.
Status nextCandidate(CollectionHandle* collection, const char32_t* parent, uint64_t parentLength) {
    ExtensionHandle* extension = collection->extension;
    Status status;
    if (parent) {
        NameParms parms{};
        parms.kind = NAME_DIRECTORY;
        status =
            extension->fsbox->CreateName(extension->fsbox, parent, parentLength, &parms,
                                         &collection->cacheDir, &collection->cacheDirLength, 0);
        if (status != VX_SUCCESS)
            squillonLogFailure(extension, U"quillonCollectionHandleAcquire could not create cache");
    } else {
        collection->flags |= CACHE_FROM_UTILLOC;
        status = extension->toolbox->utilloc(extension->toolbox, 0, 0, ~Word{0},
                                             &collection->cacheDir, &collection->cacheDirLength, 0);
        if (status != VX_SUCCESS)
            squillonLogFailure(
                extension, U"quillonCollectionHandleAcquire could not get unique cache in utilloc");
    }
    if (status != VX_SUCCESS) collection->cacheDir = nullptr;
    return status;
}

// Leaves in cacheDir a name that no file has.
Status findFreeName(CollectionHandle* collection, const char32_t* parent, uint64_t parentLength) {
    constexpr int candidates = 256;
    ExtensionHandle* extension = collection->extension;
    for (int candidate = 0; candidate < candidates; ++candidate) {
        releaseCacheName(collection);
        Status status = nextCandidate(collection, parent, parentLength);
        if (status != VX_SUCCESS) return status;
        status = extension->fsbox->Exists(extension->fsbox, collection->cacheDir,
                                          collection->cacheDirLength, 0);
        if (status == VX_PATH_NOT_FOUND) return VX_SUCCESS;
        if (status != VX_SUCCESS) {
            squillonLogFailure(
                extension, U"quillonCollectionHandleAcquire error creating cache directory, rc=%X",
                status);
            return status;
        }
    }
    squillonLogFailure(extension,
                       U"quillonCollectionHandleAcquire error creating unique cache directory");
    return QUILLON_REQUEST_FAILED;
}

Status narrowCacheDirectory(CollectionHandle* collection, const CollectionParms* parms) {
    ExtensionHandle* extension = collection->extension;
    Narrowing narrowing = squillonNarrow(
        extension, parms->pathTranscoder, collection->cacheDir, collection->cacheDirLength,
        collection->cacheDirLength, &collection->narrowCacheDir, &collection->narrowCacheDirLength);
    if (narrowing.outOfMemory)
        return squillonFail(
            extension, VX_NO_MEMORY,
            U"quillonCollectionHandleAcquire no memory for narrow unique cache path");
    if (narrowing.status == VX_SUCCESS)
        squillonLogFailure(extension, U"quillonCollectionHandleAcquire using local cache '%s'",
                           collection->cacheDir);
    else if (narrowing.status != VX_BUFFER_TOO_SMALL)
        squillonLogFailure(
            extension,
            U"quillonCollectionHandleAcquire transcode for narrow unique cache path return rc=%X",
            narrowing.status);
    return narrowing.status;
}

// parent receives the transcoded cache parent, which lives until the acquire ends.
Status makeCache(CollectionHandle* collection, const CollectionParms* parms,
                 PoolPtr<char32_t>& parent) {
    ExtensionHandle* extension = collection->extension;
    uint64_t parentLength = 0;
    Status status = takeText(
        extension, parms, parms->cacheParent, parms->cacheParentLength, parent.address(),
        &parentLength, U"quillonCollectionHandleAcquire no memory for transcoded cache parent",
        U"quillonCollectionHandleAcquire error transcoding cache parent, rc=%X");
    if (status == VX_SUCCESS) status = findFreeName(collection, parent.get(), parentLength);
    if (status != VX_SUCCESS) return status;

    status = extension->fsbox->CreateDirectory(extension->fsbox, collection->cacheDir,
                                               collection->cacheDirLength, 0);
    if (status != VX_SUCCESS) {
        squillonLogFailure(extension,
                           U"quillonCollectionHandleAcquire error creating cache directory, rc=%X",
                           status);
        return status;
    }
    collection->flags |= CACHE_CREATED;
    return narrowCacheDirectory(collection, parms);
}

Status makeClient(CollectionHandle* collection, const CollectionParms* parms, Journal* journal) {
    ExtensionHandle* extension = collection->extension;
    collection->httpContext = extension->weblnk->CreateHttpContext(extension->weblnk, journal, 0);
    ClientParms clientParms =
        squillonClientParms(collection->url, collection->urlLength, squillonCredentials(collection),
                            parms->clientOption, journal, collection->httpContext);
    collection->client = squillonAttemptClient(extension, &clientParms, journal);
    if (collection->client) return VX_SUCCESS;
    squillonLogFailure(extension,
                       U"quillonCollectionHandleAcquire could not create HTTP client instance");
    squillonJournalSentence(extension, journal, JOURNAL_FAILURE,
                            U"HTTP client instance for collection could not be created.", 0);
    return QUILLON_REQUEST_FAILED;
}

Status probe(CollectionHandle* collection) {
    ExtensionHandle* extension = collection->extension;
    int32_t httpStatus = -1;
    Status status = collection->client->InstHead(collection->client, &httpStatus);
    if (status != VX_SUCCESS) {
        squillonLogFailure(
            extension, U"quillonCollectionHandleAcquire collection HEAD returned rc=%X, status=%d",
            status, httpStatus);
        return status;
    }
    if (squillonHttpSuccess(httpStatus)) return VX_SUCCESS;
    squillonLogFailure(extension, U"quillonCollectionHandleAcquire InstHead returned status=%d",
                       httpStatus);
    switch (httpStatus) {
        case HTTP_NOT_AUTHORIZED:
            return QUILLON_NOT_AUTHORIZED;
        case HTTP_NOT_FOUND:
            return QUILLON_COLLECTION_NOT_FOUND;
        default:
            return QUILLON_UNEXPECTED_STATUS;
    }
}

// Everything between the allocation of the handle and its hand-over.
Status open(CollectionHandle* collection, ExtensionHandle* extension, const CollectionParms* parms,
            Journal* journal) {
    squillonMark(collection->magic);
    collection->extension = extension;
    if (parms->genericName) {
        collection->genericName = squillonCopyGenericName(extension->pool, parms->genericName);
        if (!collection->genericName)
            return squillonFail(
                extension, VX_NO_MEMORY,
                U"quillonCollectionHandleAcquire no memory for collection handle generic name");
    }
    collection->release = quillonCollectionHandleRelease;

    Status status = takeUrl(collection, parms);
    if (status == VX_SUCCESS) status = takeCredentials(collection, parms);
    if (status != VX_SUCCESS) return status;

    collection->flags = listingFlags(parms->options);
    PoolPtr<char32_t> cacheParent(extension->pool, nullptr);
    if (!(parms->options & NO_CACHE)) status = makeCache(collection, parms, cacheParent);
    if (status == VX_SUCCESS) status = makeClient(collection, parms, journal);
    if (status == VX_SUCCESS) status = probe(collection);
    return status;
}

}  // namespace

CollectionHandle* quillonCollectionHandleAcquire(ExtensionHandle* extension, CollectionParms* parms,
                                                 Journal* journal) {
    parms->rc = VX_SUCCESS;
    squillonTrace(extension, U"quillonCollectionHandleAcquire called");
    auto* collection = squillonAllocRecord<CollectionHandle>(extension->pool);
    parms->rc = collection ? open(collection, extension, parms, journal)
                           : squillonFail(
                                 extension, VX_NO_MEMORY,
                                 U"quillonCollectionHandleAcquire no memory for collection handle");
    if (parms->rc != VX_SUCCESS) {
        squillonJournalStatus(extension, journal, parms->rc);
        quillonCollectionHandleRelease(collection);
        collection = nullptr;
    }
    squillonTrace(extension, U"quillonCollectionHandleAcquire returning rc=%X collp=%P", parms->rc,
                  collection);
    return collection;
}

// Accepts what a failed acquire has made so far.
Status quillonCollectionHandleRelease(CollectionHandle* collection) {
    if (!collection) return VX_SUCCESS;
    ExtensionHandle* extension = collection->extension;
    Pool* pool = extension->pool;
    squillonTrace(extension, U"quillonCollectionHandleRelease called");

    Status status = VX_SUCCESS;
    if ((collection->flags & (CACHE_CREATED | CACHE_KEEP)) == CACHE_CREATED)
        status = extension->fsbox->DeleteDirectory(extension->fsbox, collection->cacheDir,
                                                   collection->cacheDirLength, 1, 0);
    squillonFree(pool, collection->genericName);
    if (collection->client) status = collection->client->Destroy(collection->client);
    if (collection->httpContext) collection->httpContext->Destroy(collection->httpContext);
    squillonFree(pool, collection->url);
    squillonFree(pool, collection->proxy);
    squillonFree(pool, collection->user);
    squillonFreeSecret(pool, collection->password, collection->passwordLength);
    releaseCacheName(collection);
    squillonFree(pool, collection->narrowCacheDir);
    squillonFree(pool, collection);
    return status;
}

}  // namespace vx
