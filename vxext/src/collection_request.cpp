#include "vxext/src/collection_request.hpp"

#include "vxext/src/connection.hpp"
#include "vxext/src/transcode.hpp"

namespace vx {

Status CollectionRequest::transcode(const CollectionOpParms* parms, const char* source,
                                    int64_t sourceBytes, SecretText& text, const LogText& failure) {
    Status rc = squillonTranscode(extension_, parms->textTranscoder, source, sourceBytes,
                                  text.address(), text.lengthAddress());
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

    ClientParms clientParms = squillonClientParms(parms->clientOption, journal, nullptr);
    url_.lend(clientParms.url, clientParms.urlLength);
    proxy_.lend(clientParms.proxy, clientParms.proxyLength);
    user_.lend(clientParms.user, clientParms.userLength);
    password_.lend(clientParms.password, clientParms.passwordLength);
    Status rc = squillonCreateConnection(extension_, &clientParms, journal, client_.address());
    if (rc != VX_SUCCESS) squillonLogFailure(extension_, messages.connection, rc);
    return rc;
}

}  // namespace vx
