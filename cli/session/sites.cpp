#include "cli/session/sites.hpp"

#include <fmt/format.h>

#include <utility>

#include "cli/config/config_file.hpp"

namespace quillon::cli {
namespace {

struct Parts {
    std::string_view name;
    std::string_view path;
};

std::optional<Parts> split(std::string_view typed) {
    const size_t colon = typed.find(':');
    if (colon == std::string_view::npos) return std::nullopt;
    const Parts parts{typed.substr(0, colon), typed.substr(colon + 1)};
    const bool isUrl = parts.path.starts_with("//");
    return isUrl || !siteNameValid(parts.name) ? std::nullopt : std::optional(parts);
}

// The rest of what was typed stays out of the message: it may be part of credentials.
Error unknown(std::string_view name, const std::vector<Site>& sites) {
    std::string known;
    for (const Site& site : sites) known += (known.empty() ? "" : ", ") + site.name;
    return Error{Kind::usage,
                 Code::success,
                 0,
                 {fmt::format("There is no site \"{}\". {}", name,
                              known.empty() ? "None is stored yet: see quillon login --help."
                                            : fmt::format("Known: {}.", known)),
                  "A URL begins with https:// or http://."}};
}

}  // namespace

bool Sites::knows(std::string_view typed) {
    const auto parts = split(typed);
    if (!parts) return false;
    const Result<std::vector<Site>> sites = all();
    return sites && findSite(*sites, parts->name) != nullptr;
}

// A colon that was forgotten behind a site's name is told.
Result<Address> Sites::parseUrlOrTellColon(std::string_view typed) {
    Result<Address> address = Address::parse(typed);
    if (address) return address;
    const std::string_view name = typed.substr(0, typed.find('/'));
    const Result<std::vector<Site>> sites = siteNameValid(name) ? all() : std::vector<Site>();
    if (!sites || findSite(*sites, name) == nullptr) return address;
    Error error = std::move(address).error();
    error.sentences.push_back(
        fmt::format("There is a site of that name: its URLs begin with {}:", name));
    return error;
}

Result<Address> Sites::resolve(std::string_view typed) {
    auto parts = split(typed);
    if (!parts) return parseUrlOrTellColon(typed);
    Result<Site> site = find(parts->name);
    if (!site) return std::move(site).error();
    Result<Address> root = Address::parse(site->url);
    if (!root) return root;
    if (site->user.empty()) site->user = root->user();
    while (parts->path.starts_with('/')) parts->path.remove_prefix(1);
    Result<Address> address =
        Address::parse(root->asCollection().collection() + std::string(parts->path));
    if (!address) return address;
    if (options_.user.empty()) address = address->withUser(site->user);
    used_.insert_or_assign(identityOf(*address), std::move(*site));
    return address;
}

Result<std::vector<Site>> Sites::all() {
    if (loaded_) return *loaded_;
    Result<std::vector<Site>> sites = loadSites();
    if (sites) loaded_ = *sites;
    return sites;
}

Result<Site> Sites::find(std::string_view name) {
    const Result<std::vector<Site>> sites = all();
    if (!sites) return sites.error();
    const Site* found = findSite(*sites, name);
    if (found == nullptr) return unknown(name, *sites);
    return *found;
}

const Site* Sites::of(const Address& address) const {
    const auto found = used_.find(identityOf(address));
    return found == used_.end() ? nullptr : &found->second;
}

CommonOptions Sites::optionsFor(const Address& address) const {
    const Site* site = of(address);
    return site == nullptr ? options_ : withDefaultsOf(*site, options_);
}

std::string identityOf(const Address& address) {
    return address.origin() + "\n" + address.user();
}

CommonOptions withDefaultsOf(const Site& site, CommonOptions options) {
    if (options.user.empty()) options.user = site.user;
    if (options.proxy.empty()) options.proxy = site.proxy;
    if (options.timeoutSeconds == 0) options.timeoutSeconds = site.timeoutSeconds;
    if (options.caFile.empty() && !site.caFile.empty()) {
        options.caFile = configFile().parent_path() / site.caFile;
    }
    return options;
}

}  // namespace quillon::cli
