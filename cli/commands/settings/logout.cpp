// quillon logout: forgets a site.
#include <memory>

#include "cli/commands/command.hpp"
#include "cli/config/site_file.hpp"
#include "cli/session/keyring.hpp"
#include "cli/terminal/report.hpp"

namespace quillon::cli {
namespace {

int runLogout(Session& session, const std::string& name) {
    const Result<Site> site = session.sites().find(name);
    if (!site) return report("log out of", name, site.error());
    const Result<void> removed = removeSite(name);
    session.forgetLogins();
    if (removed && site->passwordCommand == keyringLookup(name)) forgetInKeyring(name);
    return removed ? exitDone : report("log out of", name, removed.error());
}

}  // namespace

void addLogout(CommandDefinition program, Invocation& invocation) {
    auto name = std::make_shared<std::string>();
    const CommandDefinition command =
        program.addCommand("logout", "Forget a site and its password");
    command.addOption("NAME", *name, "As quillon sites shows it").required();
    command.setFooter(
        "Its file is removed, unless it holds more than quillon writes.\n\n"
        "Example:\n"
        "  quillon logout work\n");
    whenGiven(command, invocation,
              [name](Session& session) { return runLogout(session, siteNameIn(*name)); });
}

}  // namespace quillon::cli
