// The text of a site's file. Nothing here reads or writes files.
//
//     url = "https://dav.example.org/"        # of a collection
//     user = "ann"
//     password = "{zebsodium1}..."            # as "quillon login" stores it
//     proxy = "http://proxy.example.org:3128"
//     ca-file = "work.pem"
//     timeout = 30                            # seconds
//     jobs = 4                                # members at a time
//     token-command = ["gcloud", "auth", "print-access-token"]
//
// Other keys are the person's own.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "cli/config/site.hpp"
#include "client/result.hpp"

namespace quillon::cli {

// The site of this name; the sentence of a failure says the line and the key.
Result<Site> parseSite(std::string_view name, std::string_view text);

// A line for each key that is set; parsed, it is this site again.
std::string siteText(const Site& site);

// The keys that set nothing, such as one with a slip; none where the text cannot be read.
std::vector<std::string> unknownKeys(std::string_view text);

// Whether the text has anything that siteText would drop: a comment, a key of the person's own, or
// what it cannot tell from these.
bool holdsMore(std::string_view text);

}  // namespace quillon::cli
