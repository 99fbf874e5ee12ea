// The wire trace: the header lines of requests and answers, credentials masked.
#pragma once

#include <curl/curl.h>

#include <string>

#include "platform/http/target.hpp"

namespace vxhost {

struct WireTrace {
    const Sender& sender;
    std::string& noTicket;  // takes why libcurl got no ticket of Kerberos
};

// Turns the handle's trace on when the sender's logger wants it, or where a ticket is used, else
// off. The trace must live as long as the handle runs.
void setWireTrace(CURL* easy, WireTrace& trace, bool usesTicket);

}  // namespace vxhost
