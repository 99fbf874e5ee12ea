// quillon login: a site, with its password once the server took it.
#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <utility>

#include "cli/commands/command.hpp"
#include "cli/commands/what_is_there.hpp"
#include "cli/config/site_file.hpp"
#include "cli/session/prompt.hpp"
#include "cli/terminal/report.hpp"
#include "cli/terminal/terminal.hpp"
#include "client/password.hpp"

namespace quillon::cli {
namespace {

struct LoginOptions {
    std::string name;
    std::string url;  // empty: as stored
};

Result<void> tryOut(Session& session, const CommonOptions& options, const Address& address,
                    const Login& login) {
    const Result<Extension> extension = session.extension(options);
    if (!extension) return extension.error();
    const Result<Collection> opened =
        Collection::open(*extension, address, login, {.cache = false});
    if (opened) return {};
    return explainNotOpened(*extension, login, address, opened.error());
}

// What the server accepts. Only who is given or asked for now counts: no file, no earlier password.
Result<Login> acceptedLogin(Session& session, const CommonOptions& options,
                            const Address& address) {
    Login login;
    login.proxy = options.proxy;
    login.user = address.hasCredentials() ? address.user() : options.user;
    if (login.user.empty()) {
        const Result<void> everybody = tryOut(session, options, address, login);
        if (everybody) return login;
        if (everybody.error().kind != Kind::notAuthorized) return everybody.error();
        if (!canPrompt()) return session.refusal(address, login, everybody.error());
        Result<std::string> user = promptLine("User name at " + address.origin() + ": ");
        if (!user) return std::move(user).error();
        login.user = std::move(*user);
    }
    if (address.password().empty()) {
        Result<Secret> password = givenPassword(options, address, login.user);
        if (!password) return std::move(password).error();
        login.password = std::move(*password);
    } else {
        login.password = address.password();
    }
    const Result<void> tried = tryOut(session, options, address, login);
    if (!tried) return tried.error();
    return login;
}

// Command-line options become the site's own, but no password in clear does.
void takeOptions(Site& site, const CommonOptions& options) {
    if (options.timeoutSeconds > 0) site.timeoutSeconds = options.timeoutSeconds;
    if (!options.caFile.empty()) site.caFile = std::filesystem::absolute(options.caFile);
    if (options.insecure) complain("--insecure is not stored; give it each time");
    if (credentialsIn(options.proxy).empty()) {
        if (!options.proxy.empty()) site.proxy = options.proxy;
    } else {
        complain("the proxy is not stored since its URL has credentials; give it each time");
    }
}

Result<void> store(Session& session, Site site, const std::optional<Site>& before,
                   const CommonOptions& options, const Login& login) {
    site.user = login.user;
    site.password.clear();
    if (!login.password.empty()) {
        const Result<Extension> extension = session.extension(options);
        if (!extension) return extension.error();
        Result<std::string> encoded = encodePassword(*extension, login.password);
        if (!encoded) return std::move(encoded).error();
        site.password = std::move(*encoded);
    }
    takeOptions(site, session.options());
    const Result<Address> address = Address::parse(site.url);
    const bool overTls = address && address->origin().starts_with("https:");
    const bool asksForBasic = overTls && session.foundBasic(address->origin());
    site.auth = asksForBasic && !login.user.empty() ? "basic" : "";
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

// The site as it is so far: only its name and URL when it is a new one.
Site siteFor(const std::optional<Site>& before, const std::string& name, const std::string& url) {
    Site site = before.value_or(Site{.name = name});
    if (!url.empty()) {
        site.url = url;
        site.user.clear();
    }
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

    const CommonOptions common = withDefaultsOf(site, session.options());
    const Result<Login> login = acceptedLogin(session, common, *address);
    if (!login) return nothingStored(site.url, login.error());
    const Result<void> stored = store(session, site, *before, common, *login);
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
        "Afterwards the name and a colon stand for the URL in every command. The options\n"
        "--proxy, --ca-file and --timeout become the site's own.\n\n"
        "Examples:\n"
        "  quillon login work https://example.org/dav/ --user ann\n"
        "  quillon ls work:reports/\n"
        "  quillon login work                  # the password has changed\n");
    whenGiven(command, invocation,
              [options](Session& session) { return runLogin(session, *options); });
}

}  // namespace quillon::cli
