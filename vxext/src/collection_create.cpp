// MKCOL (RFC 4918, 9.3) of a collection that is not open.
#include "vxext/src/collection_request.hpp"
#include "vxext/src/http_status.hpp"
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

Status refusal(int32_t status) {
    switch (status) {
        case HTTP_FORBIDDEN:
            return QUILLON_MKCOL_FORBIDDEN;
        case HTTP_METHOD_NOT_ALLOWED:
            return QUILLON_MKCOL_NOT_ALLOWED;
        case HTTP_CONFLICT:
            return QUILLON_MKCOL_CONFLICT;
        default:
            return QUILLON_UNEXPECTED_STATUS;
    }
}

}  // namespace

Status quillonCollectionCreate(ExtensionHandle* extension, CollectionOpParms* parms,
                               Journal* journal) {
    CollectionRequest request(extension);
    if (Status rc = request.connect(parms, journal, messages)) return rc;

    int32_t status = -1;
    Status rc = request.client()->httpInstMkcol(request.client(), 0, 0, &status);
    if (rc == VX_SUCCESS && status == HTTP_CREATED) return VX_SUCCESS;
    squillonLogFailure(extension, U"quillonCollectionCreate httpInstMkcol returned rc=%X status=%d",
                       rc, status);
    return rc == VX_SUCCESS ? refusal(status) : QUILLON_UNEXPECTED_STATUS;
}

}  // namespace vx
