// Changes to the text of the configuration that touch nothing but the keys of one site: comments,
// blanks, order and what else a person wrote stay as they are. The outcome is parsed again and must
// be what was wanted to the last value; else the change fails with Kind::local, and the sentences
// say what to write by hand.
#pragma once

#include <string>
#include <string_view>

#include "cli/config/config_text.hpp"

namespace quillon::cli {

// With the site's settings that are set; of one that is there, others stay, but for user and
// password, which are emptied.
Result<std::string> withSite(std::string_view text, const Site& site);

// Without the settings of the site, which must be there. Its table stays when it has other keys.
Result<std::string> withoutSite(std::string_view text, std::string_view name);

}  // namespace quillon::cli
