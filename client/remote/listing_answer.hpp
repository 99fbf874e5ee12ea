// What an answer to a PROPFIND is, before it is read, and what lies where in it.
#pragma once

#include <string>
#include <string_view>

#include "client/error.hpp"
#include "platform/http/request.hpp"

namespace quillon {

// Whether it may be a multistatus: some servers send one with another status than 207.
bool mayBeMultistatus(const vxhost::Answer& answer);
// Of one that is none, as a web page is.
Error notMultistatus(const vxhost::Answer& answer);

}  // namespace quillon
