#include "vxext/src/collection_cache.hpp"

#include "vxext/src/failure.hpp"
#include "vxext/src/transcode.hpp"

namespace vx {
namespace {

Status nameBelow(CollectionHandle* collection, const char32_t* parent, uint64_t parentLength) {
    Fsbox* fsbox = collection->extension->fsbox;
    NameParms parms{};
    parms.kind = NAME_DIRECTORY;
    Status rc = fsbox->CreateName(fsbox, parent, parentLength, &parms, &collection->cacheDir,
                                  &collection->cacheDirLength, 0);
    if (rc == VX_SUCCESS) return rc;
    return squillonFail(collection->extension, rc,
                        U"quillonCollectionHandleAcquire could not create cache");
}

Status nameAnywhere(CollectionHandle* collection) {
    Toolbox* toolbox = collection->extension->toolbox;
    collection->flags |= CACHE_FROM_UTILLOC;
    Status rc = toolbox->utilloc(toolbox, 0, 0, ~Word{0}, &collection->cacheDir,
                                 &collection->cacheDirLength, 0);
    if (rc == VX_SUCCESS) return rc;
    return squillonFail(collection->extension, rc,
                        U"quillonCollectionHandleAcquire could not get unique cache in utilloc");
}

Status nextCandidate(CollectionHandle* collection, const char32_t* parent, uint64_t parentLength) {
    squillonReleaseCacheName(collection);
    Status rc = parent ? nameBelow(collection, parent, parentLength) : nameAnywhere(collection);
    if (rc != VX_SUCCESS) collection->cacheDir = nullptr;  // whatever the failing call left there
    return rc;
}

// Leaves in cacheDir a name that no file has.
Status findFreeName(CollectionHandle* collection, const char32_t* parent, uint64_t parentLength) {
    constexpr int candidates = 256;
    Fsbox* fsbox = collection->extension->fsbox;
    for (int candidate = 0; candidate < candidates; ++candidate) {
        if (Status rc = nextCandidate(collection, parent, parentLength)) return rc;
        Status rc = fsbox->Exists(fsbox, collection->cacheDir, collection->cacheDirLength, 0);
        if (rc == VX_PATH_NOT_FOUND) return VX_SUCCESS;
        if (rc != VX_SUCCESS)
            return squillonFail(
                collection->extension, rc,
                U"quillonCollectionHandleAcquire error creating cache directory, rc=%X", rc);
    }
    return squillonFail(collection->extension, QUILLON_REQUEST_FAILED,
                        U"quillonCollectionHandleAcquire error creating unique cache directory");
}

Status createDirectory(CollectionHandle* collection) {
    Fsbox* fsbox = collection->extension->fsbox;
    Status rc = fsbox->CreateDirectory(fsbox, collection->cacheDir, collection->cacheDirLength, 0);
    if (rc != VX_SUCCESS)
        return squillonFail(collection->extension, rc,
                            U"quillonCollectionHandleAcquire error creating cache directory, rc=%X",
                            rc);
    collection->flags |= CACHE_CREATED;
    return VX_SUCCESS;
}

Status narrowPath(CollectionHandle* collection, Transcoder* transcoder) {
    ExtensionHandle* extension = collection->extension;
    Status rc = squillonNarrow(extension, transcoder, collection->cacheDir,
                               collection->cacheDirLength, collection->cacheDirLength,
                               &collection->narrowCacheDir, &collection->narrowCacheDirLength);
    if (!collection->narrowCacheDir)
        return squillonFail(
            extension, rc,
            U"quillonCollectionHandleAcquire no memory for narrow unique cache path");
    if (rc == VX_SUCCESS)
        squillonLogFailure(extension, U"quillonCollectionHandleAcquire using local cache '%s'",
                           collection->cacheDir);
    else if (rc != VX_BUFFER_TOO_SMALL)
        squillonLogFailure(
            extension,
            U"quillonCollectionHandleAcquire transcode for narrow unique cache path return rc=%X",
            rc);
    return rc;
}

}  // namespace

Status squillonMakeCache(CollectionHandle* collection, Transcoder* pathTranscoder,
                         const char32_t* parent, uint64_t parentLength) {
    if (Status rc = findFreeName(collection, parent, parentLength)) return rc;
    if (Status rc = createDirectory(collection)) return rc;
    return narrowPath(collection, pathTranscoder);
}

void squillonReleaseCacheName(CollectionHandle* collection) {
    if (!collection->cacheDir) return;
    ExtensionHandle* extension = collection->extension;
    if (collection->flags & CACHE_FROM_UTILLOC)
        extension->toolbox->FreeLocation(extension->toolbox, collection->cacheDir);
    else
        extension->fsbox->ReleaseName(extension->fsbox, collection->cacheDir, 0);
    collection->cacheDir = nullptr;
}

}  // namespace vx
