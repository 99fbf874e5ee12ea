// HTTP clients: the record that describes one, and the three attempts at making it.
#pragma once

#include "host/quillon.h"

namespace vx {

// Lends the URL and the credentials of one record to another: those of callers, collections and
// clients name them alike.
template <class From, class To>
void squillonCopyAccess(const From& from, To& to) {
    to.url = from.url;
    to.urlLength = from.urlLength;
    to.proxy = from.proxy;
    to.proxyLength = from.proxyLength;
    to.user = from.user;
    to.userLength = from.userLength;
    to.password = from.password;
    to.passwordLength = from.passwordLength;
}

// Without URL and credentials.
ClientParms squillonClientParms(uint8_t clientOption, Journal* journal, HttpContext* context);

// Null after three attempts. The first two hand over the journal only while it is enabled, the
// third always, so that weblnk can say why there is no client.
Client* squillonAttemptClient(ExtensionHandle* extension, ClientParms* parms, Journal* journal);

// The same for an operation that makes its own connection: QUILLON_REQUEST_FAILED, and a sentence
// in the journal, when there is none.
Status squillonCreateConnection(ExtensionHandle* extension, ClientParms* parms, Journal* journal,
                                Client** client);

}  // namespace vx
