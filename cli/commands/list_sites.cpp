// quillon sites: what is stored, but for passwords.
#include <fmt/format.h>

#include <memory>

#include "cli/commands/command.hpp"
#include "cli/terminal/json.hpp"
#include "cli/terminal/report.hpp"
#include "cli/terminal/table.hpp"
#include "cli/terminal/terminal.hpp"

namespace quillon::cli {
namespace {

void print(const std::vector<Site>& sites) {
    Table table({Align::left, Align::left, Align::left, Align::left});
    for (const Site& site : sites) {
        table.add(site.name, forOutput(site.url), site.user.empty() ? "-" : forOutput(site.user),
                  site.password.empty() ? "no password stored" : "password stored");
    }
    fmt::print("{}", table.text());
}

void printJson(const std::vector<Site>& sites) {
    std::vector<std::string> objects;
    for (const Site& site : sites) {
        JsonObject object;
        object.addText("name", site.name);
        object.addText("url", site.url);
        if (!site.user.empty()) object.addText("user", site.user);
        object.addFlag("passwordStored", !site.password.empty());
        objects.push_back(object.text());
    }
    fmt::print("[{}]\n", fmt::join(objects, ","));
}

int run(Session& session, bool json) {
    const Result<std::vector<Site>> sites = session.sites().all();
    if (!sites) return report("list the sites", {}, sites.error());
    json ? printJson(*sites) : print(*sites);
    return EXIT_DONE;
}

}  // namespace

void addSites(CommandDefinition program, Invocation& invocation) {
    auto json = std::make_shared<bool>(false);
    const CommandDefinition command = program.addCommand("sites", "List the sites that are stored");
    command.addFlag("--json", *json, "An array of objects");
    command.setFooter(
        "Examples:\n"
        "  quillon sites\n"
        "  quillon sites --json | jq -r '.[].name'\n");
    whenGiven(command, invocation, [json](Session& session) { return run(session, *json); });
}

}  // namespace quillon::cli
