// quillon login: a site, with its password once the server took it.
#include <fmt/format.h>

#include <memory>
#include <utility>

#include "cli/commands/command.hpp"
#include "cli/commands/settings/store_login.hpp"
#include "cli/commands/settings/trial.hpp"
#include "cli/config/site_file.hpp"
#include "cli/parser/words.hpp"
#include "cli/session/keyring.hpp"
#include "cli/terminal/print.hpp"
#include "cli/terminal/report.hpp"
#include "cli/terminal/terminal.hpp"
#include "platform/text/url.hpp"

namespace quillon::cli {
namespace {

struct LoginOptions {
    std::string name;
    std::string url;  // empty: as stored
    std::string passwordCommand;
    std::string tokenCommand;
    bool byBrowser = false;
    bool inKeyring = false;
};

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

Error notTogether(std::string_view one, std::string_view other) {
    return localError(Kind::usage, fmt::format("{} and {} do not go together.", one, other));
}

// Of two sources one would be tried, and the other be the site's.
Result<void> checkSources(const LoginOptions& options, const CommonOptions& common,
                          std::string_view userInUrl) {
    const bool hasFile = !common.access.tokenFile.empty(), urlHasUser = !userInUrl.empty();
    if (!options.passwordCommand.empty() && !common.passwordFile.empty()) {
        return notTogether("--password-file", "--password-command");
    }
    if (!options.tokenCommand.empty()) {
        if (hasFile) return notTogether("--token-file", "--token-command");
        return checkSoleTeller(common, "--token-command", urlHasUser);
    }
    if (!options.byBrowser) return checkCommonOptions(common, userInUrl);
    if (hasFile) return notTogether("--token-file", "--browser");
    if (!common.access.auth.empty()) return notTogether("--auth", "--browser");
    return checkSoleTeller(common, "--browser", urlHasUser);
}

// What would say who it is in the place of the user that is given now.
void forgetTeller(Site& site) {
    site.tokenFile.clear();
    site.tokenCommand.clear();
    if (site.auth == "negotiate") site.auth.clear();
}

// Commands of the line, and whose password goes into the keyring.
Result<void> takeCommands(Site& site, const LoginOptions& options, const CommonOptions& common,
                          std::string_view userInUrl) {
    if (Result<void> checked = checkSources(options, common, userInUrl); !checked) return checked;
    const std::pair<const std::string&, Texts&> commands[] = {
        {options.passwordCommand, site.passwordCommand}, {options.tokenCommand, site.tokenCommand}};
    for (const auto& [line, words] : commands) {
        if (line.empty()) continue;
        Result<Texts> split = splitWords(line);
        if (!split) return std::move(split).error();
        words = std::move(*split);
    }
    if (!options.tokenCommand.empty()) site.tokenFile.clear();
    if (!common.user.empty() || !userInUrl.empty() || options.byBrowser) forgetTeller(site);
    const bool isGiven = !common.passwordFile.empty() || options.byBrowser;
    if (isGiven && options.passwordCommand.empty() && site.cert.empty()) {
        if (site.passwordCommand != keyringLookup(site.name)) site.passwordCommand.clear();
    }
    if (options.inKeyring) site.passwordCommand = keyringLookup(site.name);
    return {};
}

// What the person is asked for, and the keyring is to learn, does not come of it.
CommonOptions optionsFor(const Site& site, const LoginOptions& options,
                         const CommonOptions& given) {
    CommonOptions common = withDefaultsOf(site, given);
    if (!options.passwordCommand.empty()) common.passwordCommand = site.passwordCommand;
    if (site.passwordCommand == keyringLookup(site.name)) common.passwordCommand.clear();
    common.basicUrl.clear();  // so that the server tells which scheme it takes by now
    return common;
}

int runLogin(Session& session, LoginOptions& options) {
    Result<Address> address = Address::parse(options.url);
    const bool typed = !options.url.empty();
    const bool likeUrl = options.url.find("://") != options.url.npos;
    wipe(options.url);
    if (typed && !address) {
        return nothingStored("this URL", likeUrl ? address.error() : noUrlBehindName());
    }
    options.name = siteNameIn(std::move(options.name));
    const bool isUrl = options.name.find("://") != options.name.npos;  // perhaps with a password
    const Result<std::optional<Site>> before = siteBefore(options, typed);
    if (!before) return nothingStored(isUrl ? "this URL" : options.name, before.error());
    Site site = siteFor(*before, options.name, typed ? address->asCollection().collection() : "");
    if (!typed) address = Address::parse(site.url);
    if (!address) return nothingStored(site.url, address.error());
    const std::string userInUrl = typed ? address->user() : "";
    if (const auto taken = takeCommands(site, options, session.options(), userInUrl); !taken) {
        return nothingStored(site.url, taken.error());
    }
    Trial trial(session, optionsFor(site, options, session.options()), address->asCollection());
    // Where the site is to have its password, that of the netrc file is none.
    const bool looksIntoNetrc =
        site.password.empty() && site.passwordCommand != keyringLookup(site.name);
    const Result<Login> login =
        options.byBrowser ? trial.runByBrowser() : trial.run(looksIntoNetrc);
    if (!login) return nothingStored(site.url, login.error());
    site.url = trial.address().collection();
    CommonOptions given = session.options();
    if (options.byBrowser) given.timeoutSeconds = 0;  // that was the person's time
    const Result<void> stored = storeLogin(session, site, *before, given, trial.options(), *login);
    if (!stored) return nothingStored(site.url, stored.error());
    printOut("{}: is {}{}{}\n", site.name, site.url, login->user.empty() ? "" : ", user ",
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
    const OptionDefinition browser =
        command.addFlag("--browser", options->byBrowser,
                        "Sign in with a browser (Nextcloud), which gives a password of its own");
    const OptionDefinition keyring =
        command.addFlag("--keyring", options->inKeyring,
                        "Keep the password in the desktop's keyring (secret-tool of libsecret)");
    command
        .addOption("--password-command", options->passwordCommand,
                   "Have the site run this for its password, as 'pass show dav'; no shell runs it")
        .typeName("COMMAND")
        .notEmpty()
        .excludes(browser)
        .excludes(keyring);
    command
        .addOption("--token-command", options->tokenCommand,
                   "Have the site run this for a bearer token, again when one is refused")
        .typeName("COMMAND")
        .notEmpty()
        .excludes(browser);
    command.setFooter(
        "The password is asked for, tried on the server and stored encrypted, for you alone.\n"
        "Afterwards the name and a colon stand for the URL in every command. The options by\n"
        "which the server is reached (--proxy, --ca-file, --cert, --token-file and so on)\n"
        "become the site's own. Of a server that nobody vouches for the certificate is shown;\n"
        "if you know it, its public key is trusted from then on, and no other.\n\n"
        "Examples:\n"
        "  quillon login work https://example.org/dav/ --user ann\n"
        "  quillon login cloud https://cloud.example.org/ --browser\n"
        "  quillon login team https://dav.example.org/ -u ann --password-command 'pass show dav'\n"
        "  quillon ls work:reports/\n"
        "  quillon login work                  # the password has changed\n");
    whenGiven(command, invocation,
              [options](Session& session) { return runLogin(session, *options); });
}

}  // namespace quillon::cli
