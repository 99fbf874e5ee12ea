#include "cli/commands/command.hpp"

#include <utility>

#include "cli/parser/shell_path.hpp"
#include "cli/terminal/report.hpp"

namespace quillon::cli {
void addCommands(CommandDefinition program, Invocation& invocation) {
    addLs(program, invocation);
    addInfo(program, invocation);
    addGet(program, invocation);
    addPut(program, invocation);
    addEdit(program, invocation);
    addRm(program, invocation);
    addCp(program, invocation);
    addMv(program, invocation);
    addMkcol(program, invocation);
    addRmcol(program, invocation);
    addLock(program, invocation);
    addUnlock(program, invocation);
    addLogin(program, invocation);
    addLogout(program, invocation);
    addSites(program, invocation);
    addEncode(program, invocation);
}

void whenGiven(CommandDefinition command, Invocation& invocation,
               std::function<int(Session&)> action) {
    command.whenGiven([&invocation, action = std::move(action)] { invocation.run = action; });
}

void addUrl(CommandDefinition command, std::string& url, const std::string& meaning) {
    command.addOption("URL", url, meaning).typeName("").required();
}

OptionDefinition addUrls(CommandDefinition command, std::vector<std::string>& urls,
                         const std::string& meaning) {
    return command.addOption("URL", urls, meaning).typeName("").required();
}

Result<Address> parseUrl(Session& session, std::string& typed) {
    // In a shell a colon is a character of a name, but for the sites that are there.
    const bool isPath = session.base && !session.sites().knows(typed);
    Result<Address> address =
        isPath ? resolveShellPath(*session.base, typed) : session.sites().resolve(typed);
    wipe(typed);
    if (!address) report("use this URL", {}, address.error());
    return address;
}

int forEachUrl(Session& session, std::vector<std::string>& urls, const std::string& attempt,
               const UrlAction& action) {
    int code = exitDone;
    for (std::string& url : urls) {
        const Result<Address> address = parseUrl(session, url);
        int failed = address ? exitDone : exitCode(address.error().kind);
        if (address) {
            const Result<void> done = action(*address);
            if (!done) failed = report(attempt, address->url(), done.error());
        }
        if (code == exitDone) code = failed;
        if (failed == exitInterrupted) return failed;
    }
    return code;
}

}  // namespace quillon::cli
