// The configuration file: $XDG_CONFIG_HOME/quillon/config.toml, else ~/.config/quillon/config.toml.
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/config/config_text.hpp"

namespace quillon::cli {

std::filesystem::path configFile();

// A file that is missing has none. Refuses one that others can change, or read when it holds
// passwords. The sentences of a failure name the file.
Result<std::vector<Site>> loadSites();

// From the text of the file, empty when there is none, to its new text.
using ConfigChange = std::function<Result<std::string>(std::string_view text)>;

// Replaces the file as a whole. Changes by several processes at a time follow one another, and
// none is lost.
Result<void> changeConfig(const ConfigChange& change);

}  // namespace quillon::cli
