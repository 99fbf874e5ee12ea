// quillon sites: what is stored, but for passwords.
#include <fmt/format.h>

#include <memory>

#include "cli/commands/command.hpp"
#include "cli/config/site_file.hpp"
#include "cli/session/keyring.hpp"
#include "cli/terminal/json.hpp"
#include "cli/terminal/print.hpp"
#include "cli/terminal/report.hpp"
#include "cli/terminal/suggestion.hpp"
#include "cli/terminal/table.hpp"
#include "cli/terminal/terminal.hpp"
#include "client/address.hpp"

namespace quillon::cli {
namespace {

bool isInKeyring(const Site& site) {
    return site.passwordCommand == keyringLookup(site.name);
}

std::string_view wayInto(const Site& site) {
    if (!site.password.empty()) return "password stored";
    if (!site.tokenFile.empty() || !site.tokenCommand.empty()) return "by token";
    if (!site.auth.empty() && site.auth != "basic") return site.auth;
    if (!site.cert.empty()) return "by certificate";
    if (isInKeyring(site)) return "password in the keyring";
    return site.passwordCommand.empty() ? "no password stored" : "password by command";
}

void print(const std::vector<Site>& sites) {
    Table table({Align::left, Align::left, Align::left, Align::left});
    for (const Site& site : sites) {
        table.add(site.name, forOutput(site.url), site.user.empty() ? "-" : forOutput(site.user),
                  wayInto(site));
    }
    writeOut(table.text());
}

std::string shown(const std::string& text) {
    return forOutput(text);
}
std::string shown(int number) {
    return std::to_string(number);
}
std::string shown(bool) {
    return "true";
}
std::string shown(const Texts& words) {
    std::vector<std::string> quoted;
    for (const std::string& word : words) quoted.push_back(shellWord(word));
    return forOutput(fmt::format("{}", fmt::join(quoted, " ")));
}

// A site by itself: each key that is set.
void printKeys(const Site& site) {
    Table table({Align::left, Align::left});
    for (const SiteKey& key : siteKeys()) {
        if (!isSet(site, key)) continue;
        const auto text = [&site](auto field) { return shown(site.*field); };
        std::string value = key.isSecret ? "stored" : std::visit(text, key.field);
        if (key.name == "password-command" && isInKeyring(site)) value += " (the keyring)";
        table.add(std::string(key.name), value);
    }
    writeOut(table.text());
}

// "ca-file" is "caFile" there.
std::string jsonName(std::string_view key) {
    std::string name;
    for (size_t i = 0; i < key.size(); ++i) {
        const bool begins = i > 0 && key[i - 1] == '-';
        if (key[i] != '-') name += begins ? static_cast<char>(key[i] - 'a' + 'A') : key[i];
    }
    return name;
}

void addTo(JsonObject& object, const SiteKey& key, const Site& site) {
    const std::string name = jsonName(key.name);
    const auto add = [&](auto field) {
        const auto& value = site.*field;
        using Value = std::decay_t<decltype(value)>;
        if constexpr (std::is_same_v<Value, std::string>) {
            object.addText(name, value);
        } else if constexpr (std::is_same_v<Value, bool>) {
            object.addFlag(name, value);
        } else if constexpr (std::is_same_v<Value, Texts>) {
            object.addTexts(name, {value.begin(), value.end()});
        } else {
            object.addNumber(name, static_cast<uint64_t>(value));
        }
    };
    // Of most sites it says something that there is none.
    if (key.isSecret && (key.name == "password" || isSet(site, key))) {
        object.addFlag(name + "Stored", isSet(site, key));
    } else if (isSet(site, key)) {
        std::visit(add, key.field);
    }
}

void printJson(const std::vector<Site>& sites) {
    std::vector<std::string> objects;
    for (const Site& site : sites) {
        JsonObject object;
        object.addText("name", site.name);
        for (const SiteKey& key : siteKeys()) addTo(object, key, site);
        objects.push_back(object.text());
    }
    printOut("[{}]\n", fmt::join(objects, ","));
}

int runShowSite(Session& session, const std::string& name, bool json) {
    Result<Site> site = session.sites().find(name);
    if (!site) return report("use the site", name, site.error());
    site->proxy = withoutCredentials(site->proxy);
    json ? printJson({*site}) : printKeys(*site);
    return exitDone;
}

int runListSites(Session& session, bool json) {
    const Result<std::vector<std::string>> names = siteNames();
    if (!names) return report("list the sites", {}, names.error());
    int code = exitDone;
    std::vector<Site> sites;
    for (const std::string& name : *names) {
        Result<Site> site = session.sites().find(name);
        if (site) {
            site->proxy = withoutCredentials(site->proxy);
            sites.push_back(std::move(*site));
        } else {
            const int failed = report("use the site", name, site.error());
            if (code == exitDone) code = failed;
        }
    }
    json ? printJson(sites) : print(sites);
    if (const std::string hint = formerFileHint(); !hint.empty()) complain(hint);
    return code;
}

}  // namespace

void addSites(CommandDefinition program, Invocation& invocation) {
    auto json = std::make_shared<bool>(false);
    auto name = std::make_shared<std::string>();
    const CommandDefinition command = program.addCommand("sites", "List the sites that are stored");
    command.addOption("NAME", *name, "Show all keys of this one, but for its secrets");
    command.addFlag("--json", *json, "An array of objects");
    command.setFooter(
        "Each has a file of its own, sites/NAME.toml in ~/.config/quillon, or where\n"
        "$XDG_CONFIG_HOME says.\n\n"
        "Examples:\n"
        "  quillon sites\n"
        "  quillon sites work\n"
        "  quillon sites --json | jq -r '.[].name'\n");
    whenGiven(command, invocation, [json, name](Session& session) {
        return name->empty() ? runListSites(session, *json)
                             : runShowSite(session, siteNameIn(*name), *json);
    });
}

}  // namespace quillon::cli
