// quillon login: a site, with its password once the server took it.
#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <utility>

#include "cli/commands/command.hpp"
#include "cli/commands/settings/trial.hpp"
#include "cli/config/site_file.hpp"
#include "cli/terminal/report.hpp"
#include "cli/terminal/terminal.hpp"
#include "client/password.hpp"
#include "platform/text/url.hpp"

namespace quillon::cli {
namespace {

struct LoginOptions {
    std::string name;
    std::string url;  // empty: as stored
};

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
    if (password.empty() || !site.passwordCommand.empty()) return {};
    const Result<Extension> extension = session.extension(options);
    if (!extension) return extension.error();
    Result<std::string> encoded = encodePassword(*extension, password);
    if (!encoded) return std::move(encoded).error();
    site.password = std::move(*encoded);
    return {};
}

Result<void> store(Session& session, Site site, const std::optional<Site>& before,
                   const CommonOptions& options, const Login& login) {
    site.user = login.user;
    if (const Result<void> sealed = seal(session, site, options, login.password); !sealed) {
        return sealed;
    }
    takeOptions(site, session.options());
    site.pin = options.access.pin;
    const Result<Address> address = Address::parse(site.url);
    const bool overTls = address && address->origin().starts_with("https:");
    const bool asksForBasic = overTls && session.foundBasic(address->origin());
    site.auth = asksForBasic && !login.user.empty() ? "basic" : options.access.auth;
    session.sites().forgetLoaded();
    return storeSite(site, before);
}

ExitCode nothingStored(const std::string& url, Error error) {
    error.sentences.emplace_back("Nothing was stored.");
    return report("log in to", url, error);
}

Error nameProblem(const std::string& name) {
    if (name.find("://") != name.npos) {
        return localError(Kind::usage, "The site's name is missing: it stands before its URL.");
    }
    if (name == "http" || name == "https") {
        return localError(Kind::usage, "URLs begin so, and a site cannot. Choose another name.");
    }
    return localError(Kind::usage, std::string(siteNameRule));
}

// What stands in its place may be a password, and is not repeated.
Error noUrlBehindName() {
    return localError(Kind::usage,
                      "Behind the site's name stands its URL, which begins with https:// or "
                      "http://. The password is asked for.");
}

Result<std::optional<Site>> siteBefore(const LoginOptions& options, bool hasUrl) {
    if (!siteNameValid(options.name)) return nameProblem(options.name);
    Result<std::optional<Site>> known = loadSite(options.name);
    if (known && !*known && !hasUrl) {
        return localError(Kind::usage, "There is no such site yet. Give its URL, too.");
    }
    return known;
}

// What opened one server is nothing to another one.
Site withoutWayIn(Site site) {
    return {.name = std::move(site.name),
            .proxy = std::move(site.proxy),
            .caFile = std::move(site.caFile),
            .timeoutSeconds = site.timeoutSeconds,
            .jobs = site.jobs,
            .proxyAuth = std::move(site.proxyAuth),
            .proxyCaFile = std::move(site.proxyCaFile),
            .noProxy = std::move(site.noProxy)};
}

// The site as it is so far: only its name and URL when it is a new one.
Site siteFor(const std::optional<Site>& before, const std::string& name, const std::string& url) {
    Site site = before.value_or(Site{.name = name});
    if (url.empty()) return site;
    if (!vxhost::sameOrigin(url, site.url)) site = withoutWayIn(std::move(site));
    site.url = url;
    site.user.clear();
    return site;
}

int runLogin(Session& session, LoginOptions& options) {
    Result<Address> address = Address::parse(options.url);
    const bool typed = !options.url.empty();
    const bool likeUrl = options.url.find("://") != options.url.npos;
    wipe(options.url);
    if (typed && !address) {
        return nothingStored("this URL", likeUrl ? address.error() : noUrlBehindName());
    }
    const bool isUrl = options.name.find("://") != options.name.npos;  // perhaps with a password
    const Result<std::optional<Site>> before = siteBefore(options, typed);
    if (!before) return nothingStored(isUrl ? "this URL" : options.name, before.error());
    const Site site =
        siteFor(*before, options.name, typed ? address->asCollection().collection() : "");
    if (!typed) address = Address::parse(site.url);
    if (!address) return nothingStored(site.url, address.error());
    address = address->asCollection();

    Trial trial(session, withDefaultsOf(site, session.options()), *address);
    const Result<Login> login = trial.run();
    if (!login) return nothingStored(site.url, login.error());
    const Result<void> stored = store(session, site, *before, trial.options(), *login);
    if (!stored) return nothingStored(site.url, stored.error());
    fmt::print("{}: is {}{}{}\n", site.name, site.url, login->user.empty() ? "" : ", user ",
               harmless(login->user));
    return exitDone;
}

}  // namespace

void addLogin(CommandDefinition program, Invocation& invocation) {
    auto options = std::make_shared<LoginOptions>();
    const CommandDefinition command =
        program.addCommand("login", "Store a server under a name, with its password");
    command.addOption("NAME", options->name, "Letters, digits, \"-\", \"_\" and \".\"").required();
    command.addOption("URL", options->url, "A collection; not needed for a site that is there");
    command.setFooter(
        "The password is asked for, tried on the server and stored encrypted, for you alone.\n"
        "Afterwards the name and a colon stand for the URL in every command. The options by\n"
        "which the server is reached (--proxy, --ca-file, --cert, --token-file and so on)\n"
        "become the site's own. Of a server that nobody vouches for the certificate is shown;\n"
        "if you know it, its public key is trusted from then on, and no other.\n\n"
        "Examples:\n"
        "  quillon login work https://example.org/dav/ --user ann\n"
        "  quillon ls work:reports/\n"
        "  quillon login work                  # the password has changed\n");
    whenGiven(command, invocation,
              [options](Session& session) { return runLogin(session, *options); });
}

}  // namespace quillon::cli
