// MKCOL (RFC 4918, 9.3) of a collection that is not open.
#include "vxext/src/collection_request.hpp"
#include "vxext/src/operations.hpp"

namespace vx {
namespace {

constexpr CollectionRequestMessages messages = {
    .url = U"quillonCollectionCreate transcoding collection name returned rc=%X",
    .proxy = U"quillonCollectionCreate transcoding proxy name returned rc=%X",
    .user = U"quillonCollectionCreate transcoding user name returned rc=%X",
    .password = U"quillonCollectionCreate transcoding password returned rc=%X",
    .connection = U"quillonCollectionCreate create connection returned rc=%X",
};

Status refusal(int32_t httpStatus) {
    switch (httpStatus) {
        case 403:
            return QUILLON_MKCOL_FORBIDDEN;
        case 405:
            return QUILLON_MKCOL_NOT_ALLOWED;
        case 409:
            return QUILLON_MKCOL_CONFLICT;
        default:
            return QUILLON_UNEXPECTED_STATUS;
    }
}

}  // namespace

Status quillonCollectionCreate(ExtensionHandle* extension, CollectionOpParms* parms,
                               Journal* journal) {
    CollectionRequest request(extension);
    Status status = request.connect(parms, journal, messages);
    if (status != VX_SUCCESS) return status;

    int32_t httpStatus = -1;
    status = request.client()->httpInstMkcol(request.client(), 0, 0, &httpStatus);
    if (status == VX_SUCCESS && httpStatus == 201) return VX_SUCCESS;
    squillonLogFailure(extension, U"quillonCollectionCreate httpInstMkcol returned rc=%X status=%d",
                       status, httpStatus);
    return status == VX_SUCCESS ? refusal(httpStatus) : QUILLON_UNEXPECTED_STATUS;
}

}  // namespace vx
