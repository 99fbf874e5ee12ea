#include "cli/commands/command.hpp"

#include <algorithm>
#include <string_view>
#include <utility>

#include "cli/parser/shell_path.hpp"
#include "cli/terminal/report.hpp"

namespace quillon::cli {
namespace {

struct Adder {
    std::string_view group;  // its title in help
    std::string_view name;   // of the command that it adds
    void (*add)(CommandDefinition program, Invocation& invocation);
    std::string_view alias = {};  // as other programs call it; empty: none

    bool isCalled(std::string_view word) const {
        return word == name || (!alias.empty() && word == alias);
    }
};

constexpr std::string_view look = "Look", move = "Move", change = "Change together",
                           copy = "Keep a folder the same", settings = "Settings";

constexpr Adder adders[] = {{look, "ls", addLs},
                            {look, "info", addInfo},
                            {look, "check", addCheck},
                            {look, "doctor", addDoctor},
                            {look, "prop", addProp},
                            {look, "tree", addTree},
                            {look, "find", addFind},
                            {look, "du", addDu},
                            {look, "df", addDf},
                            {look, "cat", addCat},
                            {look, "head", addHead},
                            {look, "tail", addTail},
                            {move, "get", addGet},
                            {move, "put", addPut},
                            {move, "cp", addCp},
                            {move, "mv", addMv},
                            {move, "rm", addRm},
                            {move, "touch", addTouch},
                            {move, "mkcol", addMkcol, "mkdir"},
                            {move, "rmcol", addRmcol, "rmdir"},
                            {change, "edit", addEdit},
                            {change, "lock", addLock},
                            {change, "unlock", addUnlock},
                            {change, "locks", addLocks},
                            {change, "open", addOpen},
                            {copy, "sync", addSync},
                            {copy, "status", addStatus},
                            {copy, "resolve", addResolve},
                            {copy, "log", addLog},
                            {copy, "undo", addUndo},
                            {settings, "login", addLogin},
                            {settings, "logout", addLogout},
                            {settings, "sites", addSites},
                            {settings, "encode", addEncode},
                            {look, "shell", addShell}};

void addFrom(const Adder& adder, CommandDefinition program, Invocation& invocation) {
    adder.add(program, invocation);
    if (const auto added = program.findCommand(std::string(adder.name))) {
        added->setGroup(std::string(adder.group));
        if (!adder.alias.empty()) added->addAlias(std::string(adder.alias));
    }
}

}  // namespace

void addCommands(CommandDefinition program, Invocation& invocation) {
    for (const Adder& adder : adders) {
        // encode reads a password from where the shell's lines may come from.
        const bool isForShells = adder.add != addShell && adder.add != addEncode;
        if (isForShells) addFrom(adder, program, invocation);
    }
}

void addCommandsFor(const std::vector<std::string>& words, CommandDefinition program,
                    Invocation& invocation) {
    const auto isMeant = [&words](const Adder& adder) {
        return std::ranges::any_of(words, [&](const auto& word) { return adder.isCalled(word); });
    };
    const bool hidden = !words.empty() && words.front().starts_with("__");
    const bool all = hidden || std::ranges::none_of(adders, isMeant);
    for (const Adder& adder : adders) {
        if (all || isMeant(adder)) addFrom(adder, program, invocation);
    }
}

void whenGiven(CommandDefinition command, Invocation& invocation,
               std::function<int(Session&)> action) {
    command.whenGiven([&invocation, action = std::move(action)] {
        invocation.run = [action](Session& session) {
            session.progress().setSilent(false);  // where another one of a shell was quiet
            session.beginCommand();
            return action(session);
        };
    });
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
