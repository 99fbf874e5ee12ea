// HTTP methods by name, and their bits in the mask of what a server allows.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "host/weblnk.h"

namespace vxhost {

struct Method {
    std::string_view name;
    uint32_t bit;
};

inline constexpr std::array methods{
    Method{"COPY", vx::ALLOW_COPY},
    Method{"DELETE", vx::ALLOW_DELETE},
    Method{"GET", vx::ALLOW_GET},
    Method{"HEAD", vx::ALLOW_HEAD},
    Method{"LOCK", vx::ALLOW_LOCK},
    Method{"MKCOL", vx::ALLOW_MKCOL},
    Method{"MOVE", vx::ALLOW_MOVE},
    Method{"OPTIONS", vx::ALLOW_OPTIONS},
    Method{"POST", vx::ALLOW_POST},
    Method{"PROPFIND", vx::ALLOW_PROPFIND},
    Method{"PROPPATCH", vx::ALLOW_PROPPATCH},
    Method{"PUT", vx::ALLOW_PUT},
    Method{"UNLOCK", vx::ALLOW_UNLOCK},
};

}  // namespace vxhost
