// quillon logout: forgets a site.
#include <memory>

#include "cli/commands/command.hpp"
#include "cli/config/config_edit.hpp"
#include "cli/config/config_file.hpp"
#include "cli/terminal/report.hpp"

namespace quillon::cli {
namespace {

int run(Session& session, const std::string& name) {
    const Result<Site> site = session.sites().find(name);
    if (!site) return report("log out of", name, site.error());
    const Result<void> changed =
        changeConfig([&name](std::string_view text) { return withoutSite(text, name); });
    session.sites().readAgain();
    return changed ? EXIT_DONE : report("log out of", name, changed.error());
}

}  // namespace

void addLogout(CommandDefinition program, Invocation& invocation) {
    auto name = std::make_shared<std::string>();
    const CommandDefinition command =
        program.addCommand("logout", "Forget a site and its password");
    command.addOption("NAME", *name, "As quillon sites shows it").required();
    command.setFooter(
        "Everything else in the configuration stays as it is.\n\n"
        "Example:\n"
        "  quillon logout work\n");
    whenGiven(command, invocation, [name](Session& session) { return run(session, *name); });
}

}  // namespace quillon::cli
