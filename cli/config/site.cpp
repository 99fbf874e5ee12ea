#include "cli/config/site.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

#include "client/address.hpp"
#include "client/header_line.hpp"
#include "client/pin.hpp"
#include "platform/http/proxy.hpp"

namespace quillon::cli {
namespace {

std::string rangeProblem(int value, int most) {
    return value >= 1 && value <= most ? "" : fmt::format("must be from 1 to {}", most);
}

// Clear passwords do not belong into this file, wherever they hide.
std::string urlProblem(const Site& site) {
    const Result<Address> address = Address::parse(site.url);
    if (!address) return "is none of a WebDAV server, which begins with https:// or http://";
    if (address->password().empty()) return "";
    return fmt::format("holds a password; take it out, then: quillon login {}", site.name);
}

std::string userProblem(const Site& site) {
    return std::string(userNameProblem(site.user));
}

std::string passwordProblem(const Site& site) {
    if (site.password.starts_with('{')) return "";
    return fmt::format("stands there in clear; take it out, then: quillon login {}", site.name);
}

std::string authProblem(const Site& site) {
    const bool known = site.auth == "basic" || site.auth == "negotiate" || site.auth == "ntlm";
    return known ? "" : "must be \"basic\", \"negotiate\" or \"ntlm\", or left out";
}

std::string proxyFieldProblem(const Site& site) {
    return std::string(vxhost::proxyProblem(site.proxy));
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

std::string keyPasswordCommandProblem(const Site& site) {
    if (site.cert.empty()) return "gives the passphrase of a key, and there is no cert";
    return commandProblem<&Site::keyPasswordCommand>(site);
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
    {"url", "The collection; the one key that must be there.", &Site::url, false, urlProblem},
    {"user", "The user name.", &Site::user, false, userProblem},
    {"password",
     "Encoded, from quillon login or quillon encode; one in clear is refused. With another --user "
     "it is not used.",
     &Site::password, true, passwordProblem},
    {"proxy", "The URL of a proxy.", &Site::proxy, false, proxyFieldProblem},
    {"ca-file", "A PEM file of the authorities to trust, from the directory of this file.",
     &Site::caFile},
    {"timeout", "Seconds without any progress after which to give up, 1 to 86400.",
     &Site::timeoutSeconds, false,
     [](const Site& site) { return rangeProblem(site.timeoutSeconds, 86'400); }},
    {"jobs", "Members to transfer at a time, 1 to 64.", &Site::jobs, false,
     [](const Site& site) { return rangeProblem(site.jobs, 64); }},
    {"insecure-basic",
     "true: no warning when a password, token or headers go to another machine over http.",
     &Site::insecureBasic},
    {"auth",
     "\"basic\": the server asks for Basic, as login found; over https the password then goes with "
     "the first request to the site, which spares a round trip. \"negotiate\" and \"ntlm\": each "
     "connection logs in by Kerberos or NTLM.",
     &Site::auth, false, authProblem},
    {"cert", "A certificate to log in by, PEM or PKCS#12.", &Site::cert},
    {"key", "Its key, where that is another file, PEM.", &Site::key, false, keyProblem},
    {"key-password-command", "A list of words: the command that prints the key's passphrase.",
     &Site::keyPasswordCommand, false, keyPasswordCommandProblem},
    {"password-command", "The same for the password.", &Site::passwordCommand, false,
     passwordCommandProblem},
    {"token-file", "A file with a bearer token in its first line.", &Site::tokenFile, false,
     tokenProblem},
    {"token-command", "The command that prints the token; run again when it is refused.",
     &Site::tokenCommand, false, tokenCommandProblem},
    {"headers", "A list of headers for each request to the site, as \"Name: value\".",
     &Site::headers, true, headersProblem},
    {"headers-command", "The command that prints such lines.", &Site::headersCommand, false,
     commandProblem<&Site::headersCommand>},
    {"pin", "The server's public key, sha256//BASE64: it is trusted, and no other.", &Site::pin,
     false, pinFieldProblem},
    {"unix-socket", "A socket of this machine through which the server is reached.",
     &Site::unixSocket},
    {"proxy-auth", "How to log in to the proxy: basic, digest, ntlm or negotiate.",
     &Site::proxyAuth, false, proxyAuthProblem},
    {"proxy-ca-file", "As ca-file, for a proxy whose URL begins with https.", &Site::proxyCaFile},
    {"no-proxy", "Hosts to reach without the proxy, parted by commas.", &Site::noProxy},
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
    if (!credentialsIn(site.proxy).empty()) return true;
    return std::ranges::any_of(
        keys, [&site](const SiteKey& key) { return key.isSecret && isSet(site, key); });
}

bool siteNameValid(std::string_view name) {
    return name.size() >= 2 && name.front() != '.' && name != "http" && name != "https" &&
           name.find_first_not_of(nameCharacters) == std::string_view::npos;
}

std::string siteNameIn(std::string typed) {
    if (typed.ends_with(':')) typed.pop_back();
    return typed;
}

}  // namespace quillon::cli
