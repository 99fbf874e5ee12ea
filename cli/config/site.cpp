#include "cli/config/site.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

#include "client/address.hpp"
#include "client/header_line.hpp"
#include "client/pin.hpp"

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
    const bool known = site.auth == "basic" || site.auth == "negotiate" || site.auth == "ntlm";
    return known ? "" : "must be \"basic\", \"negotiate\" or \"ntlm\", or left out";
}

std::string proxyAuthProblem(const Site& site) {
    constexpr std::string_view known[] = {"basic", "digest", "ntlm", "negotiate"};
    const bool isKnown = std::ranges::find(known, site.proxyAuth) != std::end(known);
    return isKnown ? "" : "must be \"basic\", \"digest\", \"ntlm\" or \"negotiate\"";
}

template <Texts Site::*field>
std::string commandProblem(const Site& site) {
    const bool named = !(site.*field).empty() && !(site.*field).front().empty();
    return named ? "" : "must begin with a program";
}

std::string keyProblem(const Site& site) {
    return site.cert.empty() ? "is that of a certificate, and there is no cert" : "";
}

// Of two ways to the same secret one would never be gone.
std::string passwordCommandProblem(const Site& site) {
    if (!site.password.empty()) return "stands beside password; take one of them out";
    if (site.user.empty() && site.cert.empty()) return "gives a password, and there is no user";
    return commandProblem<&Site::passwordCommand>(site);
}

std::string tokenProblem(const Site& site) {
    if (!site.auth.empty()) return "gives a token, which auth does not take; take one of them out";
    return site.tokenFile.empty() || site.tokenCommand.empty()
               ? ""
               : "stands beside token-file; take one of them out";
}

std::string tokenCommandProblem(const Site& site) {
    std::string problem = tokenProblem(site);
    return problem.empty() ? commandProblem<&Site::tokenCommand>(site) : problem;
}

std::string headersProblem(const Site& site) {
    for (size_t i = 0; i < site.headers.size(); ++i) {
        const std::string problem = headerProblem(site.headers[i]);
        if (problem.empty()) continue;
        return fmt::format("must hold headers, and number {} {}", i + 1, problem);
    }
    return "";
}

std::string pinFieldProblem(const Site& site) {
    return std::string(pinProblem(site.pin));
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
    {"cert", &Site::cert},
    {"key", &Site::key, false, keyProblem},
    {"key-password-command", &Site::keyPasswordCommand, false,
     commandProblem<&Site::keyPasswordCommand>},
    {"password-command", &Site::passwordCommand, false, passwordCommandProblem},
    {"token-file", &Site::tokenFile, false, tokenProblem},
    {"token-command", &Site::tokenCommand, false, tokenCommandProblem},
    {"headers", &Site::headers, true, headersProblem},
    {"headers-command", &Site::headersCommand, false, commandProblem<&Site::headersCommand>},
    {"pin", &Site::pin, false, pinFieldProblem},
    {"unix-socket", &Site::unixSocket},
    {"proxy-auth", &Site::proxyAuth, false, proxyAuthProblem},
    {"proxy-ca-file", &Site::proxyCaFile},
    {"no-proxy", &Site::noProxy},
};

constexpr std::string_view nameCharacters =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_.";

}  // namespace

std::span<const SiteKey> siteKeys() {
    return keys;
}

bool isSet(const Site& site, const SiteKey& key) {
    const auto holds = [&site](auto field) {
        const auto& value = site.*field;
        return value != std::decay_t<decltype(value)>();
    };
    return std::visit(holds, key.field);
}

bool holdsSecret(const Site& site) {
    return std::ranges::any_of(
        keys, [&site](const SiteKey& key) { return key.isSecret && isSet(site, key); });
}

bool siteNameValid(std::string_view name) {
    return name.size() >= 2 && name.front() != '.' && name != "http" && name != "https" &&
           name.find_first_not_of(nameCharacters) == std::string_view::npos;
}

}  // namespace quillon::cli
