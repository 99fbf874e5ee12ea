// Small PROPFINDs of weblnk's own, and other multistatus answers.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/http/request.hpp"
#include "platform/http/target.hpp"

namespace vxhost {

// The answer to a PROPFIND of depth 0 for one property of "DAV:"; empty when none came. Throws as
// exchange() does. What is uninterrupted goes out after an interrupt, too (see Request).
struct PropertyAnswer {
    int32_t status;
    std::string multistatus;
};
PropertyAnswer askProperty(const Target& target, std::string_view property,
                           bool uninterrupted = false);

// Whether that tells the property, be it empty: a server may keep quiet about it.
bool tellsProperty(const std::string& multistatus, std::u32string_view property);

// What HEAD should have answered: 200 when the resource has properties, 404 when it is not there;
// headStatus when nothing can be told. A 404 is believed but for a collection.
int32_t statusByProperties(const Target& target, int32_t headStatus);

// The size that they tell, in bytes (RFC 4918, 15.4).
std::optional<uint64_t> sizeByProperties(const Target& target);

// What a server answered to MOVE, DELETE or LOCK: where that is 207, the first failure in it, by
// which nothing at all may have been done (RFC 4918, 9.9.4). Throws when that is no XML.
int32_t statusOfChange(const Answer& answer);

}  // namespace vxhost
