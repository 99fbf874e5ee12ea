// Commands: each is a file with a function that adds itself to the parser. Once its arguments are
// parsed it leaves what is to be run, since options of the program may stand behind the command.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "cli/parser/options.hpp"
#include "cli/session/session.hpp"
#include "cli/terminal/exit_code.hpp"

namespace CLI {
class App;
class Error;
}  // namespace CLI

namespace quillon::cli {

struct Invocation {
    CommonOptions common;
    bool inShell = false;  // a collection that is not named is the shell's
    std::function<int(Session&)> run;
};

void addLs(CLI::App& program, Invocation& invocation);
void addInfo(CLI::App& program, Invocation& invocation);
void addGet(CLI::App& program, Invocation& invocation);
void addPut(CLI::App& program, Invocation& invocation);
void addEdit(CLI::App& program, Invocation& invocation);
void addRm(CLI::App& program, Invocation& invocation);
void addMv(CLI::App& program, Invocation& invocation);
void addMkcol(CLI::App& program, Invocation& invocation);
void addRmcol(CLI::App& program, Invocation& invocation);
void addLock(CLI::App& program, Invocation& invocation);
void addUnlock(CLI::App& program, Invocation& invocation);
void addLogin(CLI::App& program, Invocation& invocation);
void addLogout(CLI::App& program, Invocation& invocation);
void addSites(CLI::App& program, Invocation& invocation);
void addEncode(CLI::App& program, Invocation& invocation);
void addShell(CLI::App& program, Invocation& invocation);

// All but the shell, which has them too.
void addCommands(CLI::App& program, Invocation& invocation);

// What the command runs once the whole line is parsed.
void whenGiven(CLI::App& command, Invocation& invocation, std::function<int(Session&)> action);

// Its operand URL; its operands when there may be several.
void addUrl(CLI::App& command, std::string& url, const std::string& meaning);
void addUrls(CLI::App& command, std::vector<std::string>& urls, const std::string& meaning);

// The words behind the program's name, which may be any text.
void parseWords(CLI::App& program, std::vector<std::string> words);

// What is wrong with a line of words, for the person who typed it.
std::string lineProblem(const CLI::App& program, const CLI::Error& problem);

// What a person typed as a URL, through a site, or in a shell as a name; its credentials, if it has
// some, are taken out and the text wiped. A failure has been reported.
Result<Address> parseUrl(Session& session, std::string& typed);

// Runs an action for each URL in turn, whose failures it reports with what was attempted: a
// failure is not the end of the others, an interrupt is. The code is that of the first failure.
using UrlAction = std::function<Result<void>(const Address&)>;
int forEachUrl(Session& session, std::vector<std::string>& urls, const std::string& attempt,
               const UrlAction& action);

}  // namespace quillon::cli
