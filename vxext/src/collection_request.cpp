#include "vxext/src/collection_request.hpp"

#include "vxext/src/connection.hpp"
#include "vxext/src/pool_ptr.hpp"
#include "vxext/src/transcode.hpp"

namespace vx {

CollectionRequest::~CollectionRequest() {
    Pool* pool = extension_->pool;
    squillonFree(pool, url_.characters);
    squillonFree(pool, proxy_.characters);
    squillonFree(pool, user_.characters);
    squillonFreeSecret(pool, password_.characters, password_.length);
    if (client_) client_->Destroy(client_);
}

Status CollectionRequest::transcode(const CollectionOpParms* parms, const char* source,
                                    int64_t sourceBytes, Text& text, const LogText& failure) {
    Status rc = squillonTranscode(extension_, parms->textTranscoder, source, sourceBytes,
                                  &text.characters, &text.length);
    if (rc != VX_SUCCESS) squillonLogFailure(extension_, failure, rc);
    return rc;
}

Status CollectionRequest::connect(const CollectionOpParms* parms, Journal* journal,
                                  const CollectionRequestMessages& messages) {
    if (!parms->url || parms->urlLength < 1) return QUILLON_BAD_URL;
    if (Status rc = transcode(parms, parms->url, parms->urlLength, url_, messages.url)) return rc;
    if (Status rc = transcode(parms, parms->proxy, parms->proxyLength, proxy_, messages.proxy))
        return rc;
    if (Status rc = transcode(parms, parms->user, parms->userLength, user_, messages.user))
        return rc;
    if (Status rc =
            transcode(parms, parms->password, parms->passwordLength, password_, messages.password))
        return rc;

    const Credentials credentials = {proxy_.characters, proxy_.length,        user_.characters,
                                     user_.length,      password_.characters, password_.length};
    ClientParms clientParms = squillonClientParms(url_.characters, url_.length, credentials,
                                                  parms->clientOption, journal, nullptr);
    Status rc = squillonCreateConnection(extension_, &clientParms, journal, &client_);
    if (rc != VX_SUCCESS) squillonLogFailure(extension_, messages.connection, rc);
    return rc;
}

}  // namespace vx
