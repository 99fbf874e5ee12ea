// HTTP clients: the record that describes one, and the three attempts at making it.
#pragma once

#include "host/quillon.h"

namespace vx {

struct Credentials {  // UTF-32 texts of a collection handle or of one operation
    const char32_t* proxy;
    uint64_t proxyLength;
    const char32_t* user;
    uint64_t userLength;
    const char32_t* password;
    uint64_t passwordLength;
};

inline Credentials squillonCredentials(const CollectionHandle* collection) {
    return {collection->proxy,      collection->proxyLength, collection->user,
            collection->userLength, collection->password,    collection->passwordLength};
}

ClientParms squillonClientParms(const char32_t* url, uint64_t urlLength,
                                const Credentials& credentials, uint8_t clientOption,
                                Journal* journal, HttpContext* context);

// Null after three attempts. The first two hand over the journal only while it is enabled, the
// third always, so that weblnk can say why there is no client.
Client* squillonAttemptClient(ExtensionHandle* extension, ClientParms* parms, Journal* journal);

// The same for an operation that makes its own connection: QUILLON_REQUEST_FAILED, and a sentence
// in the journal, when there is none.
Status squillonCreateConnection(ExtensionHandle* extension, ClientParms* parms, Journal* journal,
                                Client** client);

}  // namespace vx
