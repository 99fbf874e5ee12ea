#include "cli/config/site_file.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <sstream>
#include <system_error>
#include <utility>

#include "cli/config/site_text.hpp"
#include "client/own_file.hpp"

namespace quillon::cli {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view suffix = ".toml";

fs::path directory() {
    return configDirectory() / "sites";
}

Error inFile(std::string_view name, Error error) {
    error.sentences.insert(error.sentences.begin(), fmt::format("In {}:", siteFile(name).string()));
    return error;
}

struct Loaded {
    Site site;
    bool holdsMore = false;
};

Result<std::optional<Loaded>> load(std::string_view name) {
    if (!siteNameValid(name)) {
        std::error_code none;
        const bool isTyped = !fs::exists(siteFile(name), none);
        if (isTyped) return localError(Kind::usage, std::string(siteNameRule));
        return inFile(name, localError(Kind::local, std::string(siteNameRule)));
    }
    Result<std::optional<OwnText>> file = readOwnFile(siteFile(name));
    if (!file) return std::move(file).error();
    if (!*file) return std::optional<Loaded>();
    Result<Site> site = parseSite(name, (*file)->text);
    if (!site) return inFile(name, std::move(site).error());
    if (holdsSecret(*site) && (*file)->readByOthers) {
        return localError(Kind::local,
                          fmt::format("Others can read {0}, which holds a secret, so it is not "
                                      "used. Make it yours alone: chmod 600 {0}",
                                      siteFile(name).string()));
    }
    return std::optional(Loaded{std::move(*site), holdsMore((*file)->text)});
}

Error leftAlone(std::string_view name, std::string byHand) {
    return inFile(name, Error{Kind::local,
                              Code::success,
                              0,
                              {"It holds more than quillon writes, a comment or a key of yours, so "
                               "it was left alone.",
                               std::move(byHand)}});
}

}  // namespace

fs::path siteFile(std::string_view name) {
    return directory() / std::string(name).append(suffix);
}

Result<std::vector<std::string>> siteNames() {
    std::vector<std::string> names;
    std::error_code problem;
    for (fs::directory_iterator entry(directory(), problem), end; !problem && entry != end;
         entry.increment(problem)) {
        const std::string name = entry->path().filename();
        if (name.starts_with('.') || !name.ends_with(suffix)) continue;  // an editor's own, too
        names.push_back(name.substr(0, name.size() - suffix.size()));
    }
    if (problem && problem != std::errc::no_such_file_or_directory) {
        return localError(Kind::local, fmt::format("Cannot read {}: {}.", directory().string(),
                                                   problem.message()));
    }
    std::ranges::sort(names);
    return names;
}

Result<std::optional<Site>> loadSite(std::string_view name) {
    Result<std::optional<Loaded>> loaded = load(name);
    if (!loaded) return std::move(loaded).error();
    return *loaded ? std::optional((*loaded)->site) : std::nullopt;
}

std::vector<std::string> unknownKeysOf(std::string_view name) {
    const Result<std::optional<OwnText>> file = readOwnFile(siteFile(name));
    return file && *file ? unknownKeys((*file)->text) : std::vector<std::string>();
}

Result<void> storeSite(const Site& site, const std::optional<Site>& before) {
    const Result<std::optional<Loaded>> now = load(site.name);
    if (!now) return now.error();
    if ((*now ? std::optional((*now)->site) : std::nullopt) != before) {
        return inFile(site.name, localError(Kind::local, "It was changed meanwhile. Try again."));
    }
    if (*now && (*now)->holdsMore) {
        Error error = leftAlone(site.name, "Make these lines of it yourself:");
        std::istringstream lines(siteText(site));
        for (std::string line; std::getline(lines, line);) error.sentences.push_back(line);
        return error;
    }
    return replaceOwnFile(siteFile(site.name), siteText(site));
}

Result<void> removeSite(std::string_view name) {
    const Result<std::optional<Loaded>> now = load(name);
    if (!now) return now.error();
    const std::string file = siteFile(name).string();
    if (*now && (*now)->holdsMore) {
        return leftAlone(name, fmt::format("Remove it yourself: rm {}", file));
    }
    std::error_code problem;
    fs::remove(file, problem);
    if (!problem) return {};
    return localError(Kind::local, fmt::format("Cannot remove {}: {}.", file, problem.message()));
}

std::string formerFileHint() {
    const fs::path former = configDirectory() / "config.toml";
    std::error_code none;
    if (!fs::exists(former, none)) return "";
    return fmt::format(
        "{} is not read. Each site has a file of its own, {}, with the keys of [sites.NAME].",
        former.string(), siteFile("NAME").string());
}

}  // namespace quillon::cli
