// Where what opens a server came from, for who asks by -v.
#pragma once

#include <string_view>

#include "cli/parser/options.hpp"

namespace quillon::cli {

// "quillon: " and the words, which hold no secret.
void tellSource(const CommonOptions& options, std::string_view words);

}  // namespace quillon::cli
