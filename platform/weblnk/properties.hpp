// Small PROPFINDs of weblnk's own.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/weblnk/target.hpp"

namespace vxhost {

// The answer to a PROPFIND of depth 0 for one property of "DAV:"; empty when none came. Throws as
// exchange() does. What is uninterrupted goes out after an interrupt, too (see Request).
struct PropertyAnswer {
    int32_t status;
    std::string multistatus;
};
PropertyAnswer askProperty(const Target& target, std::string_view property,
                           bool uninterrupted = false);

// What HEAD should have answered: 200 when the resource has properties, 404 when it is not there;
// headStatus when nothing can be told. A 404 is believed but for a collection.
int32_t statusByProperties(const Target& target, int32_t headStatus);

}  // namespace vxhost
