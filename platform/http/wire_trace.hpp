// The wire trace: the header lines of requests and answers, credentials masked.
#pragma once

#include <curl/curl.h>

#include "platform/http/target.hpp"

namespace vxhost {

// Turns the handle's trace on when the sender's logger wants it, else off. The sender must live as
// long as the handle runs.
void setWireTrace(CURL* easy, const Sender& sender);

}  // namespace vxhost
