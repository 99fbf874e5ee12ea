#include "cli/config/config_file.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <utility>

#include "client/own_file.hpp"

namespace quillon::cli {
namespace {

Error inFile(Error error) {
    error.sentences.insert(error.sentences.begin(), fmt::format("In {}:", configFile().string()));
    return error;
}

Result<std::string> readText() {
    Result<std::optional<OwnText>> file = readOwnFile(configFile());
    if (!file) return std::move(file).error();
    if (!*file) return std::string();
    std::string text = std::move((*file)->text);
    const Result<std::vector<Site>> sites = parseSites(text);
    if (!sites) return inFile(sites.error());
    const bool hasPasswords = std::any_of(sites->begin(), sites->end(),
                                          [](const Site& site) { return !site.password.empty(); });
    if (hasPasswords && (*file)->readByOthers) {
        return localError(Kind::local,
                          fmt::format("Others can read {0}, which holds passwords, so it is not "
                                      "used. Make it yours alone: chmod 600 {0}",
                                      configFile().string()));
    }
    return text;
}

}  // namespace

std::filesystem::path configFile() {
    return configDirectory() / "config.toml";
}

Result<std::vector<Site>> loadSites() {
    const Result<std::string> text = readText();
    if (!text) return text.error();
    return parseSites(*text);
}

Result<void> changeConfig(const ConfigChange& change) {
    const Result<OwnFileLock> turn = OwnFileLock::acquire(configDirectory() / "config.lock");
    if (!turn) return turn.error();
    const Result<std::string> text = readText();
    if (!text) return text.error();
    const Result<std::string> changed = change(*text);
    if (!changed) return inFile(changed.error());
    if (*changed == *text) return {};
    return replaceOwnFile(configFile(), *changed);
}

}  // namespace quillon::cli
