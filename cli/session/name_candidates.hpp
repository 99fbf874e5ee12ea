// Names on servers and of sites, for the completion of a word.
#pragma once

#include <string>
#include <vector>

#include "cli/parser/options.hpp"

namespace quillon::cli {

struct NameCandidate {
    std::string word;  // a collection's ends in "/"
    std::string description;
};

// The names of sites.
std::vector<NameCandidate> siteCandidates(const CommonOptions& options);

// What a URL, as far as it is typed, may become: sites with their colon and, once a collection is
// named, what that holds. With the credentials that are stored or given by the options, which are
// for the server of the line's first URL (empty: this is it); nothing whenever something fails, and
// the process ends quietly when a server takes too long.
std::vector<NameCandidate> urlCandidates(const CommonOptions& options, const std::string& first,
                                         const std::string& typed);

}  // namespace quillon::cli
