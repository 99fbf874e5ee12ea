// The text of the configuration file. Nothing here reads or writes files.
//
//     [sites.work]
//     url = "https://dav.example.org/"        # of a collection
//     user = "ann"
//     password = "{zebsodium1}..."            # as "quillon login" stores it
//     proxy = "http://proxy.example.org:3128"
//     ca-file = "work.pem"
//     timeout = 30                            # seconds
//     jobs = 4                                # members at a time
//     insecure-basic = true                   # passwords may go over http without a warning
//
// Other tables and keys are the person's own and left alone.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "client/result.hpp"

namespace quillon::cli {

struct Site {
    std::string name{};
    std::string url{};
    // Empty or 0: not set.
    std::string user{};
    std::string password{};  // encoded
    std::string proxy{};
    std::string caFile{};
    int timeoutSeconds = 0;
    int jobs = 0;
    bool insecureBasic = false;
};

// Two characters or more of A-Z, a-z, 0-9, "-", "_" and ".", none of the URL schemes: what stands
// before the colon of "work:reports/".
bool siteNameValid(std::string_view name);

// By name. A table under "sites" without url is none. The sentence of a failure names the line.
Result<std::vector<Site>> parseSites(std::string_view text);

const Site* findSite(const std::vector<Site>& sites, std::string_view name);  // null: none

}  // namespace quillon::cli
