// DELETE (RFC 4918, 9.6) of a collection that is not open.
#include "vxext/src/collection_request.hpp"
#include "vxext/src/connection.hpp"
#include "vxext/src/failure.hpp"
#include "vxext/src/http_status.hpp"
#include "vxext/src/operations.hpp"

namespace vx {
namespace {

constexpr CollectionRequestMessages messages = {
    .url = U"quillonCollectionDelete transcoding collection name returned rc=%X",
    .proxy = U"quillonCollectionDelete transcoding proxy name returned rc=%X",
    .user = U"quillonCollectionDelete transcoding user name returned rc=%X",
    .password = U"quillonCollectionDelete transcoding password returned rc=%X",
    .connection = U"quillonCollectionDelete create connection returned rc=%X",
};

// The collection, opened and listed to see whether it has members. Both are given back at the end
// of the scope, so after the DELETE.
class [[nodiscard]] EmptinessCheck {
public:
    explicit EmptinessCheck(ExtensionHandle* extension) : extension_(extension) {}
    EmptinessCheck(const EmptinessCheck&) = delete;
    EmptinessCheck& operator=(const EmptinessCheck&) = delete;
    ~EmptinessCheck() {
        if (listing_) extension_->operations.quillonCollectionListClose(listing_);
        if (collection_) extension_->operations.quillonCollectionHandleRelease(collection_);
    }

    // VX_SUCCESS: the collection is empty.
    Status run(const CollectionOpParms* parms, Journal* journal);

private:
    ExtensionHandle* extension_;
    CollectionHandle* collection_ = nullptr;
    CollectionListHandle* listing_ = nullptr;
};

Status EmptinessCheck::run(const CollectionOpParms* parms, Journal* journal) {
    CollectionParms collectionParms{};
    squillonCopyAccess(*parms, collectionParms);
    collectionParms.textTranscoder = parms->textTranscoder;
    collectionParms.pathTranscoder = parms->pathTranscoder;
    collectionParms.genericName = parms->genericName;
    collectionParms.clientOption = parms->clientOption;
    collectionParms.options = NO_CACHE | LIST_COLLECTIONS_OPTION | COUNT_ONLY_OPTION;

    const Operations& operations = extension_->operations;
    collection_ = operations.quillonCollectionHandleAcquire(extension_, &collectionParms, journal);
    if (collectionParms.rc != VX_SUCCESS)
        return squillonFail(extension_, QUILLON_UNEXPECTED_STATUS,
                            U"quillonCollectionDelete collection handle not acquired");
    listing_ = operations.quillonCollectionListOpen(collection_, parms->pathTranscoder,
                                                    parms->genericName, journal);
    if (!listing_) return QUILLON_UNEXPECTED_STATUS;  // not known to be empty
    if (listing_->memberCount > 0)
        return squillonFail(extension_, QUILLON_DELETE_REFUSED,
                            U"quillonCollectionDelete collection either is or may not be empty and "
                            U"deleteAll was not specified");
    return VX_SUCCESS;
}

Status refusal(int32_t status) {
    switch (status) {
        case HTTP_FORBIDDEN:
            return QUILLON_DELETE_REFUSED;
        case HTTP_METHOD_NOT_ALLOWED:
            return QUILLON_DELETE_NOT_ALLOWED;
        case HTTP_CONFLICT:
            return QUILLON_DELETE_CONFLICT;
        default:
            return QUILLON_UNEXPECTED_STATUS;
    }
}

Status sendDelete(const ExtensionHandle* extension, Client* client) {
    int32_t status = -1;
    Status rc = client->httpInstDelete(client, 0, 0, &status);
    // 207: some members are still there (RFC 4918, 9.6.1).
    if (rc == VX_SUCCESS && squillonHttpSuccess(status) && status != HTTP_MULTI_STATUS)
        return VX_SUCCESS;
    squillonLogFailure(
        extension, U"quillonCollectionDelete httpInstDelete returned rc=%X status=%d", rc, status);
    return rc == VX_SUCCESS ? refusal(status) : QUILLON_UNEXPECTED_STATUS;
}

Status deleteCollection(ExtensionHandle* extension, const CollectionOpParms* parms,
                        Journal* journal) {
    CollectionRequest request(extension);
    Status rc = request.connect(parms, journal, messages);
    EmptinessCheck check(extension);
    if (rc == VX_SUCCESS && !parms->deleteAll) rc = check.run(parms, journal);
    if (rc == VX_SUCCESS) rc = sendDelete(extension, request.client());
    return rc;
}

}  // namespace

Status quillonCollectionDelete(ExtensionHandle* extension, CollectionOpParms* parms,
                               Journal* journal) {
    squillonTrace(extension, U"quillonCollectionDelete called");
    Status rc = deleteCollection(extension, parms, journal);
    squillonTrace(extension, U"quillonCollectionDelete returning rc=%X", rc);
    return rc;
}

}  // namespace vx
