// Opening and closing a collection.
#include "vxext/src/collection_cache.hpp"
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
                int64_t sourceBytes, char32_t** text, uint64_t* length, const LogText& noMemory,
                const LogText& notTranscoded) {
    Status rc =
        squillonTranscode(extension, parms->textTranscoder, source, sourceBytes, text, length);
    if (rc == VX_SUCCESS) return rc;
    return *text ? squillonFail(extension, rc, notTranscoded, rc)
                 : squillonFail(extension, rc, noMemory);
}

Status takeUrl(CollectionHandle* collection, const CollectionParms* parms) {
    ExtensionHandle* extension = collection->extension;
    if (!parms->url || parms->urlLength < 1)
        return squillonFail(extension, QUILLON_BAD_URL,
                            U"quillonCollectionHandleAcquire invalid collection URL");
    if (Status rc =
            takeText(extension, parms, parms->url, parms->urlLength, &collection->url,
                     &collection->urlLength,
                     U"quillonCollectionHandleAcquire no memory for transcoded collection URL",
                     U"quillonCollectionHandleAcquire error transcoding collection URL, rc=%X"))
        return rc;
    if (collection->urlLength == 0 || collection->url[collection->urlLength - 1] != U'/')
        return squillonFail(extension, QUILLON_BAD_URL,
                            U"quillonCollectionHandleAcquire collection URL does not end in slash");
    return VX_SUCCESS;
}

// A negative length stands for a text that is not given.
int64_t givenBytes(int64_t length) {
    return length < 0 ? 0 : length;
}

Status takeCredentials(CollectionHandle* collection, const CollectionParms* parms) {
    ExtensionHandle* extension = collection->extension;
    if (Status rc = takeText(extension, parms, parms->proxy, givenBytes(parms->proxyLength),
                             &collection->proxy, &collection->proxyLength,
                             U"quillonCollectionHandleAcquire no memory for transcoded proxy URL",
                             U"quillonCollectionHandleAcquire error transcoding proxy URL, rc=%X"))
        return rc;
    if (Status rc = takeText(extension, parms, parms->user, givenBytes(parms->userLength),
                             &collection->user, &collection->userLength,
                             U"quillonCollectionHandleAcquire no memory for transcoded username",
                             U"quillonCollectionHandleAcquire error transcoding username, rc=%X"))
        return rc;
    return takeText(extension, parms, parms->password, givenBytes(parms->passwordLength),
                    &collection->password, &collection->passwordLength,
                    U"quillonCollectionHandleAcquire no memory for transcoded password",
                    U"quillonCollectionHandleAcquire error transcoding password, rc=%X");
}

// cacheParent receives a text that lives until the acquire ends.
Status makeCache(CollectionHandle* collection, const CollectionParms* parms,
                 PoolPtr<char32_t>& cacheParent) {
    uint64_t length = 0;
    if (Status rc =
            takeText(collection->extension, parms, parms->cacheParent, parms->cacheParentLength,
                     cacheParent.address(), &length,
                     U"quillonCollectionHandleAcquire no memory for transcoded cache parent",
                     U"quillonCollectionHandleAcquire error transcoding cache parent, rc=%X"))
        return rc;
    return squillonMakeCache(collection, parms->pathTranscoder, cacheParent.get(), length);
}

Status makeClient(CollectionHandle* collection, uint8_t clientOption, Journal* journal) {
    ExtensionHandle* extension = collection->extension;
    Weblnk* weblnk = extension->weblnk;
    collection->httpContext = weblnk->CreateHttpContext(weblnk, journal, 0);
    ClientParms parms = squillonClientParms(clientOption, journal, collection->httpContext);
    squillonCopyAccess(*collection, parms);
    collection->client = squillonAttemptClient(extension, &parms, journal);
    if (collection->client) return VX_SUCCESS;
    squillonLogFailure(extension,
                       U"quillonCollectionHandleAcquire could not create HTTP client instance");
    squillonJournalSentence(extension, journal, JOURNAL_FAILURE,
                            U"HTTP client instance for collection could not be created.");
    return QUILLON_REQUEST_FAILED;
}

Status probe(CollectionHandle* collection) {
    ExtensionHandle* extension = collection->extension;
    int32_t status = -1;
    if (Status rc = collection->client->InstHead(collection->client, &status))
        return squillonFail(
            extension, rc,
            U"quillonCollectionHandleAcquire collection HEAD returned rc=%X, status=%d", rc,
            status);
    if (squillonHttpSuccess(status)) return VX_SUCCESS;
    const Status rc = status == HTTP_NOT_AUTHORIZED ? QUILLON_NOT_AUTHORIZED
                      : status == HTTP_NOT_FOUND    ? QUILLON_COLLECTION_NOT_FOUND
                                                    : QUILLON_UNEXPECTED_STATUS;
    return squillonFail(extension, rc,
                        U"quillonCollectionHandleAcquire InstHead returned status=%d", status);
}

Status takeGenericName(CollectionHandle* collection, const char* name) {
    if (!name) return VX_SUCCESS;
    collection->genericName = squillonCopyGenericName(collection->extension->pool, name);
    if (collection->genericName) return VX_SUCCESS;
    return squillonFail(
        collection->extension, VX_NO_MEMORY,
        U"quillonCollectionHandleAcquire no memory for collection handle generic name");
}

// Fills a fresh handle. What a failure leaves in it is released with it.
Status fill(CollectionHandle* collection, const CollectionParms* parms, Journal* journal) {
    if (Status rc = takeGenericName(collection, parms->genericName)) return rc;
    collection->release = quillonCollectionHandleRelease;
    if (Status rc = takeUrl(collection, parms)) return rc;
    if (Status rc = takeCredentials(collection, parms)) return rc;
    if (parms->options & LIST_COLLECTIONS_OPTION) collection->flags |= LIST_INCLUDE_COLLECTIONS;
    if (parms->options & COUNT_ONLY_OPTION) collection->flags |= LIST_COUNT_ONLY;

    PoolPtr<char32_t> cacheParent(collection->extension->pool, nullptr);
    if (!(parms->options & NO_CACHE))
        if (Status rc = makeCache(collection, parms, cacheParent)) return rc;
    if (Status rc = makeClient(collection, parms->clientOption, journal)) return rc;
    return probe(collection);
}

Status acquire(ExtensionHandle* extension, const CollectionParms* parms, Journal* journal,
               CollectionHandle** collection) {
    *collection = squillonAllocRecord<CollectionHandle>(extension->pool);
    if (!*collection)
        return squillonFail(extension, VX_NO_MEMORY,
                            U"quillonCollectionHandleAcquire no memory for collection handle");
    squillonMark((*collection)->magic);
    (*collection)->extension = extension;
    return fill(*collection, parms, journal);
}

}  // namespace

CollectionHandle* quillonCollectionHandleAcquire(ExtensionHandle* extension, CollectionParms* parms,
                                                 Journal* journal) {
    parms->rc = VX_SUCCESS;
    squillonTrace(extension, U"quillonCollectionHandleAcquire called");
    CollectionHandle* collection;
    parms->rc = acquire(extension, parms, journal, &collection);
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
    Fsbox* fsbox = extension->fsbox;
    Pool* pool = extension->pool;
    squillonTrace(extension, U"quillonCollectionHandleRelease called");

    Status rc = VX_SUCCESS;
    if ((collection->flags & (CACHE_CREATED | CACHE_KEEP)) == CACHE_CREATED)
        rc = fsbox->DeleteDirectory(fsbox, collection->cacheDir, collection->cacheDirLength, 1, 0);
    squillonFree(pool, collection->genericName);
    if (collection->client) rc = collection->client->Destroy(collection->client);
    if (collection->httpContext) collection->httpContext->Destroy(collection->httpContext);
    squillonFreeSecret(pool, collection->url, collection->urlLength);
    squillonFreeSecret(pool, collection->proxy, collection->proxyLength);
    squillonFreeSecret(pool, collection->user, collection->userLength);
    squillonFreeSecret(pool, collection->password, collection->passwordLength);
    squillonReleaseCacheName(collection);
    squillonFree(pool, collection->narrowCacheDir);
    pool->Free(pool, collection);
    return rc;
}

}  // namespace vx
