// The files of sites: sites/NAME.toml in $XDG_CONFIG_HOME/quillon, else in ~/.config/quillon.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/config/site.hpp"
#include "client/result.hpp"

namespace quillon::cli {

std::filesystem::path siteFile(std::string_view name);

// Those that have a file, in order; whether it can be used, loadSite tells.
Result<std::vector<std::string>> siteNames();

// Nothing when there is no such file. Refuses one that others can change, or read when it holds a
// password. The sentences of a failure name the file.
Result<std::optional<Site>> loadSite(std::string_view name);

// As unknownKeys() in site_text.hpp, of its file.
std::vector<std::string> unknownKeysOf(std::string_view name);

// Replaces the file as a whole, unless it has come to say something else than it did before, or
// holds more than we write: then it stays, and the sentences tell what to change by hand.
Result<void> storeSite(const Site& site, const std::optional<Site>& before);
Result<void> removeSite(std::string_view name);

// Where sites live, for whoever has them in the config.toml of before; empty when nobody has.
std::string formerFileHint();

}  // namespace quillon::cli
