// quillon login: a site, with its password once the server took it.
#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <utility>

#include "cli/commands/command.hpp"
#include "cli/commands/what_is_there.hpp"
#include "cli/config/config_edit.hpp"
#include "cli/config/config_file.hpp"
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
        Collection::open(*extension, address, login, {.cache = false, .cacheParent = {}});
    if (opened) return {};
    return notOpened(*extension, login, address, opened.error());
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

// An encoded text counts as what it encodes, so a password that looks like one would be another
// when it is read again.
Result<std::string> encodedFaithfully(const Extension& extension, const Secret& password) {
    Result<std::string> encoded = encodePassword(extension, password);
    if (encoded) {
        const Result<Secret> again = decodePassword(*encoded);
        if (again && again->view() == password.view()) return encoded;
    }
    if (password.view().starts_with('{')) {
        return localError(Kind::usage,
                          "The password begins like an encoded one, so it cannot be stored. Give "
                          "it each time, or choose another.");
    }
    if (!encoded) return encoded;
    return localError(Kind::local, "The password did not come back as it was given.");
}

// Command-line options become the site's own, but no password in clear does.
void takeOptions(Site& site, const CommonOptions& options) {
    if (options.timeoutSeconds > 0) site.timeoutSeconds = options.timeoutSeconds;
    if (!options.caFile.empty()) site.caFile = std::filesystem::absolute(options.caFile);
    if (options.insecure) complain("--insecure is not stored; give it each time");
    if (options.proxy.find('@') == std::string::npos) {
        if (!options.proxy.empty()) site.proxy = options.proxy;
    } else {
        complain("the proxy is not stored since its URL has credentials; give it each time");
    }
}

Result<void> store(Session& session, Site site, const CommonOptions& options, const Login& login) {
    site.user = login.user;
    site.password.clear();
    if (!login.password.empty()) {
        const Result<Extension> extension = session.extension(options);
        if (!extension) return extension.error();
        Result<std::string> encoded = encodedFaithfully(*extension, login.password);
        if (!encoded) return std::move(encoded).error();
        site.password = std::move(*encoded);
    }
    takeOptions(site, session.options());
    Result<void> changed =
        changeConfig([&site](std::string_view text) { return withSite(text, site); });
    session.sites().readAgain();
    return changed;
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
    return localError(Kind::usage,
                      "A site's name is two letters, digits, \"-\", \"_\" or \".\" or more.");
}

// The site as it is so far: only its name and URL when it is a new one.
Result<Site> siteFor(Session& session, const LoginOptions& options, const std::string& url) {
    if (!siteNameValid(options.name)) return nameProblem(options.name);
    const Result<std::vector<Site>> sites = session.sites().all();
    if (!sites) return sites.error();
    const Site* known = findSite(*sites, options.name);
    if (known == nullptr && url.empty()) {
        return localError(Kind::usage, "There is no such site yet. Give its URL, too.");
    }
    Site site = known != nullptr ? *known : Site{};
    site.name = options.name;
    if (!url.empty()) {
        site.url = url;
        site.user.clear();
    }
    return site;
}

int run(Session& session, LoginOptions& options) {
    Result<Address> address = Address::parse(options.url);
    const bool typed = !options.url.empty();
    wipe(options.url);
    if (typed && !address) return nothingStored("this URL", address.error());
    Result<Site> site =
        siteFor(session, options, typed ? address->asCollection().collection() : "");
    const bool isUrl = options.name.find("://") != options.name.npos;  // perhaps with a password
    if (!site) return nothingStored(isUrl ? "this URL" : options.name, site.error());
    if (!typed) address = Address::parse(site->url);
    if (!address) return nothingStored(site->url, address.error());
    address = address->asCollection();

    const CommonOptions common = withDefaultsOf(*site, session.options());
    const Result<Login> login = acceptedLogin(session, common, *address);
    if (!login) return nothingStored(site->url, login.error());
    const Result<void> stored = store(session, *site, common, *login);
    if (!stored) return nothingStored(site->url, stored.error());
    fmt::print("{}: is {}{}{}\n", site->name, site->url, login->user.empty() ? "" : ", user ",
               harmless(login->user));
    return EXIT_DONE;
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
    whenGiven(command, invocation, [options](Session& session) { return run(session, *options); });
}

}  // namespace quillon::cli
