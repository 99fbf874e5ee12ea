#include "cli/config/site.hpp"

#include <fmt/format.h>

#include "client/address.hpp"

namespace quillon::cli {
namespace {

std::string rangeProblem(int value, int most) {
    return value >= 1 && value <= most ? "" : fmt::format("must be from 1 to {}", most);
}

// Clear passwords do not belong into this file, wherever they hide.
std::string urlProblem(const Site& site) {
    const Result<Address> address = Address::parse(site.url);
    if (!address) return "is none of a WebDAV server";
    if (address->password().empty()) return "";
    return fmt::format("holds a password; take it out, then: quillon login {}", site.name);
}

std::string authProblem(const Site& site) {
    return site.auth == "basic" ? "" : "must be \"basic\", or left out";
}

constexpr SiteKey keys[] = {
    {"url", &Site::url, false, urlProblem},
    {"user", &Site::user},
    {"password", &Site::password, true},
    {"proxy", &Site::proxy},
    {"ca-file", &Site::caFile},
    {"timeout", &Site::timeoutSeconds, false,
     [](const Site& site) { return rangeProblem(site.timeoutSeconds, 86'400); }},
    {"jobs", &Site::jobs, false, [](const Site& site) { return rangeProblem(site.jobs, 64); }},
    {"insecure-basic", &Site::insecureBasic},
    {"auth", &Site::auth, false, authProblem},
};

constexpr std::string_view nameCharacters =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_.";

}  // namespace

std::span<const SiteKey> siteKeys() {
    return keys;
}

bool siteNameValid(std::string_view name) {
    return name.size() >= 2 && name.front() != '.' && name != "http" && name != "https" &&
           name.find_first_not_of(nameCharacters) == std::string_view::npos;
}

}  // namespace quillon::cli
