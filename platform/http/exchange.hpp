// A request with what HTTP adds to it: redirects within the origin, and repeats.
#pragma once

#include <string_view>

#include "platform/http/request.hpp"
#include "platform/http/target.hpp"
#include "platform/text/http_status.hpp"

namespace vxhost {

// A request of that method for the target's URL. Throws when that is no URL, or one with a dot
// segment: curl would remove it, and ask for another resource than the caller named.
Request requestFor(const Target& target, std::string_view method);

// Throws when a request cannot name the URL, as above. spelt: the same as the caller spelt it.
void requireUsable(const std::string& url, std::string_view spelt);

// Throws a Failure whose text is a sentence when no complete answer came, or when the server sends
// the request to another origin, where neither it nor its credentials may go.
Answer exchange(const Target& target, Request request);

}  // namespace vxhost
