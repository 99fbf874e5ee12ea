// Commands: each is a file with a function that adds itself to the parser. Once its arguments are
// parsed it leaves what is to be run, since options of the program may stand behind the command.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "cli/parser/options.hpp"
#include "cli/parser/parser.hpp"
#include "cli/session/session.hpp"
#include "cli/terminal/exit_code.hpp"

namespace quillon::cli {

struct Invocation {
    CommonOptions common;
    bool inShell = false;  // a collection that is not named is the shell's
    std::function<int(Session&)> run;
};

void addLs(CommandDefinition program, Invocation& invocation);
void addInfo(CommandDefinition program, Invocation& invocation);
void addDoctor(CommandDefinition program, Invocation& invocation);
void addCheck(CommandDefinition program, Invocation& invocation);
void addProp(CommandDefinition program, Invocation& invocation);
void addTree(CommandDefinition program, Invocation& invocation);
void addFind(CommandDefinition program, Invocation& invocation);
void addDu(CommandDefinition program, Invocation& invocation);
void addCat(CommandDefinition program, Invocation& invocation);
void addHead(CommandDefinition program, Invocation& invocation);
void addTail(CommandDefinition program, Invocation& invocation);
void addDf(CommandDefinition program, Invocation& invocation);
void addGet(CommandDefinition program, Invocation& invocation);
void addPut(CommandDefinition program, Invocation& invocation);
void addEdit(CommandDefinition program, Invocation& invocation);
void addOpen(CommandDefinition program, Invocation& invocation);
void addTouch(CommandDefinition program, Invocation& invocation);
void addRm(CommandDefinition program, Invocation& invocation);
void addCp(CommandDefinition program, Invocation& invocation);
void addMv(CommandDefinition program, Invocation& invocation);
void addMkcol(CommandDefinition program, Invocation& invocation);
void addRmcol(CommandDefinition program, Invocation& invocation);
void addLock(CommandDefinition program, Invocation& invocation);
void addUnlock(CommandDefinition program, Invocation& invocation);
void addLocks(CommandDefinition program, Invocation& invocation);
void addSync(CommandDefinition program, Invocation& invocation);
void addStatus(CommandDefinition program, Invocation& invocation);
void addResolve(CommandDefinition program, Invocation& invocation);
void addLog(CommandDefinition program, Invocation& invocation);
void addUndo(CommandDefinition program, Invocation& invocation);
void addLogin(CommandDefinition program, Invocation& invocation);
void addLogout(CommandDefinition program, Invocation& invocation);
void addSites(CommandDefinition program, Invocation& invocation);
void addEncode(CommandDefinition program, Invocation& invocation);
void addShell(CommandDefinition program, Invocation& invocation);

// Those that the shell has, too.
void addCommands(CommandDefinition program, Invocation& invocation);

// Those that a line of the program can mean, the shell among them. All where no word names one, or
// where the line asks about them.
void addCommandsFor(const std::vector<std::string>& words, CommandDefinition program,
                    Invocation& invocation);

// What the command runs once the whole line is parsed.
void whenGiven(CommandDefinition command, Invocation& invocation,
               std::function<int(Session&)> action);

// Its operand URL; its operands when there may be several.
void addUrl(CommandDefinition command, std::string& url, const std::string& meaning);
OptionDefinition addUrls(CommandDefinition command, std::vector<std::string>& urls,
                         const std::string& meaning);

// What a person typed as a URL, through a site, or in a shell as a name; its credentials, if it has
// some, are taken out and the text wiped. A failure has been reported.
Result<Address> parseUrl(Session& session, std::string& typed);

// Runs an action for each URL in turn, whose failures it reports with what was attempted: a
// failure is not the end of the others, an interrupt is. The code is that of the first failure.
using UrlAction = std::function<Result<void>(const Address&)>;
int forEachUrl(Session& session, std::vector<std::string>& urls, const std::string& attempt,
               const UrlAction& action);

}  // namespace quillon::cli
