// What a failure of curl means for the caller of a request.
#pragma once

#include <curl/curl.h>

#include <string>

#include "platform/base/status.hpp"

namespace vxhost {

struct CurlFailure {
    Status status;
    std::string why;  // ends a sentence that names the request
};

// detail: curl's own words, may be empty. sent: the request had gone out before. viaProxy: the
// connection was to one.
CurlFailure curlFailure(CURL* easy, CURLcode code, const std::string& detail, bool sent,
                        bool viaProxy);

// " (it takes logins by Digest, NTLM)", of a proxy that answered 407; empty: it tells none.
std::string proxySchemes(CURL* easy);

}  // namespace vxhost
