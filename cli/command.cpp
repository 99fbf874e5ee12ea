#include "cli/command.hpp"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <utility>

#include "cli/report.hpp"
#include "cli/shell_path.hpp"

namespace quillon::cli {

void addCommands(CLI::App& program, Invocation& invocation) {
    addLs(program, invocation);
    addInfo(program, invocation);
    addGet(program, invocation);
    addPut(program, invocation);
    addEdit(program, invocation);
    addRm(program, invocation);
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

void whenGiven(CLI::App& command, Invocation& invocation, std::function<int(Session&)> action) {
    command.callback([&invocation, action = std::move(action)] { invocation.run = action; });
}

void addUrl(CLI::App& command, std::string& url, const std::string& meaning) {
    command.add_option("URL", url, meaning)->type_name("")->required();
}

void addUrls(CLI::App& command, std::vector<std::string>& urls, const std::string& meaning) {
    command.add_option("URL", urls, meaning)->type_name("")->required();
}

std::string lineProblem(const CLI::App& program, const CLI::Error& problem) {
    if (!program.get_subcommands().empty()) return problem.what();
    const std::vector<std::string> words = program.remaining();
    if (words.empty()) return "A command is missing.";
    return fmt::format("There is no command or option \"{}\".", words.front());
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
    int code = EXIT_DONE;
    for (std::string& url : urls) {
        const Result<Address> address = parseUrl(session, url);
        int failed = address ? EXIT_DONE : exitCode(address.error().kind);
        if (address) {
            const Result<void> done = action(*address);
            if (!done) failed = report(attempt, address->url(), done.error());
        }
        if (code == EXIT_DONE) code = failed;
        if (failed == EXIT_INTERRUPTED) return failed;
    }
    return code;
}

}  // namespace quillon::cli
