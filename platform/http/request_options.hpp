// What a request asks of the curl handle that sends it. Each option is set or taken back, for the
// handle may have sent another one before.
#pragma once

#include <curl/curl.h>

#include "platform/http/curl_handles.hpp"
#include "platform/http/request.hpp"
#include "platform/http/target.hpp"

namespace vxhost {

// The handle refers to the list, which outlives its run. awaitsContinue: whether a large body waits
// for the server's consent.
HeaderListPtr setHeaders(CURL* easy, const Sender& sender, const Request& request,
                         bool awaitsContinue);

// The body's length and the protocol, too: a long body goes over HTTP/1.1.
void setMethod(CURL* easy, const Sender& sender, const Request& request);

void setSpeed(CURL* easy, const Sender& sender, const Request& request);

// Only for a handle that is not in use.
void setBuffers(CURL* easy, const Sender& sender, const Request& request);

// Whose answer may be much, and comes packed.
inline bool isListing(const Request& request) {
    return request.isStreamed && !request.policy.content;
}

}  // namespace vxhost
