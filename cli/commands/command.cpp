#include "cli/commands/command.hpp"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <utility>

#include "cli/parser/shell_path.hpp"
#include "cli/terminal/report.hpp"

namespace quillon::cli {
namespace {

// Behind a word like "[a,b]", which the parser would take for a list of two; no word has it.
constexpr char MARK = '\0';

std::string withoutMark(std::string word) {
    if (word.ends_with(MARK)) word.pop_back();
    return word;
}

std::string withoutCredentials(std::string word) {
    const size_t scheme = word.find("://");
    if (scheme == word.npos) return word;
    const size_t host = scheme + 3;
    const size_t at = word.substr(host, word.find('/', host) - host).rfind('@');
    if (at != word.npos) word.erase(host, at + 1);
    return word;
}

}  // namespace

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

void parseWords(CLI::App& program, std::vector<std::string> words) {
    for (CLI::App* command : program.get_subcommands({})) {
        for (CLI::Option* option : command->get_options()) option->transform(withoutMark);
    }
    for (CLI::Option* option : program.get_options()) option->transform(withoutMark);
    for (std::string& word : words) {
        if (word.starts_with('[') && word.ends_with(']')) word += MARK;
    }
    std::reverse(words.begin(), words.end());  // as the parser takes them
    program.parse(std::move(words));
}

std::string lineProblem(const CLI::App& program, const CLI::Error& problem) {
    std::vector<std::string> words = program.remaining(true);
    std::transform(words.begin(), words.end(), words.begin(), withoutMark);
    std::transform(words.begin(), words.end(), words.begin(), withoutCredentials);
    if (program.get_subcommands().empty()) {
        if (words.empty()) return "A command is missing.";
        return fmt::format("There is no command or option \"{}\".", words.front());
    }
    const auto about = static_cast<CLI::ExitCodes>(problem.get_exit_code());
    const bool ofWords =
        about == CLI::ExitCodes::ExtrasError || about == CLI::ExitCodes::RequiredError;
    if (words.empty() || !ofWords) return problem.what();
    const auto option = std::find_if(words.begin(), words.end(),
                                     [](const auto& word) { return word.starts_with('-'); });
    if (option != words.end()) return fmt::format("There is no option \"{}\" here.", *option);
    return fmt::format("\"{}\" is one word too many.", words.front());
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
