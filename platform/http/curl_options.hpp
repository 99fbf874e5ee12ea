// Options of a curl handle.
#pragma once

#include <curl/curl.h>

#include "platform/base/settings.hpp"

namespace vxhost {

// Throws when curl does not take the option.
template <class Value>
void setOption(CURL* easy, CURLoption option, Value value);

// What holds for every request of the handle: trust, time-outs, buffers, HTTP/1.1.
void setConnectionOptions(CURL* easy, const Settings& settings);

[[noreturn]] void refuseOption(CURLcode code);

void require(CURLMcode code);  // throws for what is no success

template <class Value>
void setOption(CURL* easy, CURLoption option, Value value) {
    if (const CURLcode code = curl_easy_setopt(easy, option, value)) refuseOption(code);
}

}  // namespace vxhost
