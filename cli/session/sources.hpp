// Where what opens a server came from, for who asks by -v.
#pragma once

#include <string_view>

#include "cli/parser/options.hpp"
#include "client/result.hpp"
#include "client/secret.hpp"

namespace quillon::cli {

// "quillon: " and the words, which hold no secret.
void tellSource(const CommonOptions& options, std::string_view words);

// The secret, whole: nothing that is sent ends at a NUL or at a line break. Fails with Kind::local
// for one that holds such; source is the subject of the sentence.
Result<Secret> oneLine(Secret secret, std::string_view source);

}  // namespace quillon::cli
