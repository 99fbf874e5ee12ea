// The keys of a site's table, each written once.
#pragma once

#include <array>
#include <string>
#include <string_view>
#include <variant>

#include "cli/config/config_text.hpp"

namespace quillon::cli {

inline constexpr std::string_view SITES_TABLE = "sites";

struct SiteKey {
    std::string_view name;
    std::variant<std::string Site::*, int Site::*, bool Site::*> field;
    int most = 0;  // of a number, which is at least 1
};

inline constexpr std::array siteKeys{
    SiteKey{"url", &Site::url},           SiteKey{"user", &Site::user},
    SiteKey{"password", &Site::password}, SiteKey{"proxy", &Site::proxy},
    SiteKey{"ca-file", &Site::caFile},    SiteKey{"timeout", &Site::timeoutSeconds, 86'400},
    SiteKey{"jobs", &Site::jobs, 64},     SiteKey{"insecure-basic", &Site::insecureBasic},
};

}  // namespace quillon::cli
