#include "cli/commands/settings/store_login.hpp"

#include <filesystem>
#include <utility>

#include "cli/config/site_file.hpp"
#include "cli/config/site_text.hpp"
#include "cli/session/keyring.hpp"
#include "cli/terminal/report.hpp"
#include "client/password.hpp"

namespace quillon::cli {
namespace {

// Command-line options become the site's own, but no password in clear does.
void takeOptions(Site& site, const CommonOptions& options) {
    if (options.timeoutSeconds > 0) site.timeoutSeconds = options.timeoutSeconds;
    const AccessOptions& access = options.access;
    const std::pair<const std::string&, std::string&> files[] = {
        {options.caFile, site.caFile},      {options.proxyCaFile, site.proxyCaFile},
        {access.cert, site.cert},           {access.key, site.key},
        {access.tokenFile, site.tokenFile}, {access.unixSocket, site.unixSocket}};
    for (const auto& [given, stored] : files) {
        if (!given.empty()) stored = std::filesystem::absolute(given);
    }
    if (!access.tokenFile.empty()) site.tokenCommand.clear();
    if (!access.auth.empty()) {
        site.tokenFile.clear();
        site.tokenCommand.clear();
    }
    if (!options.proxyAuth.empty()) site.proxyAuth = options.proxyAuth;
    if (!options.noProxy.empty()) site.noProxy = options.noProxy;
    if (!access.headers.empty()) {
        complain("--header is not stored; the site's headers-command can give it each time");
    }
    if (options.insecure) complain("--insecure is not stored; give it each time");
    if (credentialsIn(options.proxy).empty()) {
        if (!options.proxy.empty()) site.proxy = options.proxy;
    } else {
        complain("the proxy is not stored since its URL has credentials; give it each time");
    }
}

Result<void> seal(Session& session, Site& site, const CommonOptions& options,
                  const Secret& password) {
    site.password.clear();
    if (password.empty()) {
        if (site.passwordCommand != keyringLookup(site.name)) return {};
        complain("the keyring keeps nothing, since the login takes no password");
        site.passwordCommand.clear();
        return {};
    }
    if (site.passwordCommand == keyringLookup(site.name)) {
        const Result<void> kept = storeInKeyring(site.name, password);
        if (kept) return {};
        complain(kept.error().sentences.front() + " The password is stored encrypted instead.");
        site.passwordCommand.clear();
    }
    if (!site.passwordCommand.empty()) return {};
    const Result<Extension> extension = session.extension(options);
    if (!extension) return extension.error();
    Result<std::string> encoded = encodePassword(*extension, password);
    if (!encoded) return std::move(encoded).error();
    site.password = std::move(*encoded);
    return {};
}

}  // namespace

Result<void> storeLogin(Session& session, Site site, const std::optional<Site>& before,
                        const CommonOptions& given, const CommonOptions& options,
                        const Login& login) {
    if (given.access.tokenFile == "-") {
        return localError(Kind::usage,
                          "A token of the standard input is gone afterwards. Give a file of yours, "
                          "or --token-command.");
    }
    site.user = login.user;
    if (Result<void> sealed = seal(session, site, options, login.password); !sealed) {
        return sealed;
    }
    takeOptions(site, given);
    site.pin = options.access.pin;
    const Result<Address> address = Address::parse(site.url);
    const bool overTls = address && address->origin().starts_with("https:");
    const bool asksForBasic = overTls && session.foundBasic(address->origin());
    site.auth = asksForBasic && !login.user.empty() ? "basic" : options.access.auth;
    // What does not go together is told before it is in the way of each command.
    if (const auto usable = parseSite(site.name, siteText(site)); !usable) return usable.error();
    const std::vector<std::string> lookup = keyringLookup(site.name);
    Result<void> stored = storeSite(site, before);
    if (stored && before && before->passwordCommand == lookup && site.passwordCommand != lookup) {
        forgetInKeyring(site.name);
    }
    session.forgetLogins();
    return stored;
}

}  // namespace quillon::cli
