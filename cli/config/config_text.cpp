#include "cli/config/config_text.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <utility>

#include "cli/config/config_keys.hpp"
#include "cli/config/toml.hpp"
#include "client/address.hpp"

namespace quillon::cli {
namespace {

constexpr std::string_view NAME_CHARACTERS =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_.";

Error problemAt(const toml::source_region& where, std::string_view what) {
    return localError(Kind::local, fmt::format("Line {}: {}.", where.begin.line, what));
}

// Stores the value of a key in its field. Fails with what is wrong with it.
std::optional<std::string> take(const SiteKey& key, const toml::node& value, Site& site) {
    if (const auto* text = std::get_if<std::string Site::*>(&key.field)) {
        const auto* given = value.as_string();
        if (given == nullptr) return fmt::format("{} must be a text in quotes", key.name);
        site.** text = given->get();
        return std::nullopt;
    }
    if (const auto* flag = std::get_if<bool Site::*>(&key.field)) {
        const auto* given = value.as_boolean();
        if (given == nullptr) return fmt::format("{} must be true or false", key.name);
        site.** flag = given->get();
        return std::nullopt;
    }
    const auto* given = value.as_integer();
    if (given == nullptr || given->get() < 1 || given->get() > key.most) {
        return fmt::format("{} must be a number from 1 to {}", key.name, key.most);
    }
    site.*std::get<int Site::*>(key.field) = static_cast<int>(given->get());
    return std::nullopt;
}

// Clear passwords do not belong into this file, wherever they hide.
std::optional<std::string> problemOf(const Site& site) {
    const Result<Address> address = Address::parse(site.url);
    if (!address) return fmt::format("the url of {} is none of a WebDAV server", site.name);
    if (!address->password().empty()) {
        return fmt::format("the url of {} holds a password; take it out, then: quillon login {}",
                           site.name, site.name);
    }
    return std::nullopt;
}

Result<Site> siteFrom(std::string_view name, const toml::table& table) {
    Site site;
    site.name = name;
    for (const SiteKey& key : siteKeys) {
        const toml::node* value = table.get(key.name);
        if (value == nullptr) continue;
        if (const auto problem = take(key, *value, site)) {
            return problemAt(value->source(), *problem);
        }
    }
    if (site.url.empty()) return site;
    if (const auto problem = problemOf(site)) return problemAt(table.source(), *problem);
    return site;
}

Result<std::vector<Site>> sitesFrom(const toml::table& tables) {
    std::vector<Site> sites;
    for (const auto& [key, node] : tables) {
        const toml::table* table = node.as_table();
        if (table == nullptr || !siteNameValid(key.str())) {
            return problemAt(key.source(),
                             fmt::format("\"{}\" is no site: that is a table whose name is two "
                                         "letters, digits, \"-\", \"_\" or \".\" at least",
                                         key.str()));
        }
        Result<Site> site = siteFrom(key.str(), *table);
        if (!site) return std::move(site).error();
        if (!site->url.empty()) sites.push_back(std::move(*site));
    }
    return sites;
}

}  // namespace

bool siteNameValid(std::string_view name) {
    return name.size() >= 2 && name != "http" && name != "https" &&
           name.find_first_not_of(NAME_CHARACTERS) == std::string_view::npos;
}

Result<std::vector<Site>> parseSites(std::string_view text) {
    try {
        const toml::table root = toml::parse(text);
        const toml::node* sites = root.get(SITES_TABLE);
        if (sites == nullptr) return std::vector<Site>();
        if (!sites->is_table()) return problemAt(sites->source(), "sites must be tables");
        return sitesFrom(*sites->as_table());
    } catch (const toml::parse_error& problem) {
        return problemAt(problem.source(), problem.description());
    }
}

const Site* findSite(const std::vector<Site>& sites, std::string_view name) {
    const auto found = std::find_if(sites.begin(), sites.end(),
                                    [name](const Site& site) { return site.name == name; });
    return found == sites.end() ? nullptr : &*found;
}

}  // namespace quillon::cli
