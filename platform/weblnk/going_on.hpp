// A GET that goes on behind the first bytes of a content (RFC 9110, 13.1.5, 14.2 and 15.3.7.3).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/http/headers.hpp"
#include "platform/http/request.hpp"

namespace vxhost {

// A strong tag, of a version that can have had no other within the second of its date: some servers
// make tags of size and second. Empty: nothing proves that a rest would be of the same.
std::string tagToGoOn(const Answer& answer);

// What asks for the rest behind the first bytes of what had that tag.
std::vector<std::string> rangeBehind(uint64_t first, const std::string& tag);

// The range of an answer that is that rest, to the byte; nothing for any other, since some servers
// take no notice of If-Range, and bytes of two versions would be one file.
std::optional<ContentRange> restBehind(const Answer& answer, uint64_t first,
                                       const std::string& tag);

}  // namespace vxhost
