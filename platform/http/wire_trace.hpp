// The wire trace: the header lines of requests and answers, credentials masked.
#pragma once

#include <curl/curl.h>

#include "host/logger.h"

namespace vxhost {

// Turns the handle's trace on when the logger wants it, else off.
void setWireTrace(CURL* easy, vx::Logger* logger);

}  // namespace vxhost
