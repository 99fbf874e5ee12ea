// The program.
#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "cli/commands/command.hpp"
#include "cli/commands/complete.hpp"
#include "cli/commands/manual.hpp"
#include "cli/parser/parser.hpp"
#include "cli/session/keep_command.hpp"
#include "cli/terminal/print.hpp"
#include "cli/terminal/process.hpp"
#include "cli/terminal/report.hpp"
#include "cli/terminal/terminal.hpp"
#include "client/address.hpp"
#include "client/header_line.hpp"

namespace quillon::cli {
namespace {

void describe(Parser& parser, CommonOptions& options) {
    parser.setVersion("quillon " QUILLON_VERSION);
    parser.requireCommand();
    parser.takeOptionsBehindCommand();
    addCommonOptions(parser.program(), options);
    parser.program().setFooter(
        "A URL is typed as it is read: blanks and letters of any script are encoded, a valid\n"
        "escape such as %20 stays, and ? and # are characters of a name. A final slash means a\n"
        "collection.\n\n"
        "After \"quillon login NAME URL\" the name and a colon stand for the URL: NAME:reports/\n\n"
        "Passwords come from --password-file, the site or a command that it names, the netrc\n"
        "file, or the terminal.\n\n"
        "quillon help COMMAND tells more of a command.\n\n"
        "Examples:\n"
        "  quillon ls -l https://example.org/dav/\n"
        "  quillon get \"https://example.org/dav/My report.txt\"\n"
        "  quillon edit https://example.org/dav/plan.txt\n"
        "  quillon put report.txt https://example.org/dav/\n"
        "  quillon --user ann ls https://example.org/dav/private/\n"
        "  quillon login work https://example.org/dav/ --user ann\n"
        "  quillon ls -l work:reports/\n\n" +
        exitCodeHelp());
}

// As curl takes "user:password". Empty: there is none.
std::string_view passwordBehind(std::string_view user) {
    const size_t colon = user.find(':');
    return colon == user.npos ? std::string_view() : user.substr(colon + 1);
}

// Of a header on the line itself; "@FILE" is none.
std::string_view valueOfGiven(std::string_view header) {
    return header.starts_with('@') ? std::string_view() : headerValue(header);
}

std::string_view secretIn(std::string_view word) {
    constexpr std::string_view header = "--header=";
    if (word.starts_with(header)) return valueOfGiven(word.substr(header.size()));
    const bool isUser = word.starts_with("--user=") || (word.starts_with("-u") && word[2] != '\0');
    return isUser ? passwordBehind(word) : credentialsIn(word);
}

// Other people see the arguments of a process: what may be credentials does not stay there.
std::vector<std::string> takeWords(int argc, char** argv) {
    std::vector<std::string> words(argv + std::min(argc, 1), argv + argc);
    for (const char* name :
         {"http_proxy", "https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"}) {
        const char* proxy = std::getenv(name);
        if (proxy != nullptr) concealInReports(credentialsIn(proxy));
    }
    for (int i = 1; i < argc; ++i) {
        const std::string_view before = argv[i - 1];
        const bool isUser = i > 1 && (before == "-u" || before == "--user");
        const bool isHeader = i > 1 && before == "--header";
        const std::string_view secret = isUser     ? passwordBehind(argv[i])
                                        : isHeader ? valueOfGiven(argv[i])
                                                   : secretIn(argv[i]);
        if (secret.empty()) continue;
        concealInReports(secret, argv[i]);
        std::memset(argv[i] + (secret.data() - argv[i]), '*', secret.size());
    }
    return words;
}

// A full disk shows when the last bytes are written.
int withOutputWritten(int code) {
    flushOut();
    const int failed = outputError();
    if (failed == 0 || code != exitDone) return code;
    if (interrupted()) return exitInterrupted;
    if (outputAbandoned()) return exitUnread;
    complain(fmt::format("cannot write to the standard output: {}", std::strerror(failed)));
    return exitLocal;
}

// For shells and packagers, and not in --help: these take words that are not for the parser.
std::optional<int> runHidden(const Parser& parser, const std::vector<std::string>& words) {
    const std::string command = words.empty() ? "" : words.front();
    if (command == "__complete") {
        complete(parser, {words.begin() + 1, words.end()});
        return exitDone;
    }
    if (command != "__man") return std::nullopt;
    const std::string page = manual(parser, words.size() > 1 ? words[1] : "");
    writeOut(page);
    return page.empty() ? exitUsage : exitDone;
}

// "help get" is "get --help"; a command that is not there is told as anywhere.
void askForHelp(CommandDefinition program, std::vector<std::string>& words) {
    if (words.empty() || words.front() != "help") return;
    words.erase(words.begin());
    if (words.empty() || program.findCommand(words.front())) words.emplace_back("--help");
}

int runProgram(int argc, char** argv) {
    Parser parser("quillon", "WebDAV at the command line: list, fetch, change and write back");
    parser.setWidth(textWidth());
    Invocation invocation;
    describe(parser, invocation.common);
    std::vector<std::string> words = takeWords(argc, argv);
    addCommandsFor(words, parser.program(), invocation);
    if (const auto code = runHidden(parser, words)) {
        return withOutputWritten(*code);
    }
    askForHelp(parser.program(), words);
    Result<std::string> answer = parser.parse(std::move(words));
    const bool isToRun = answer && answer->empty();
    const Result<void> checked = checkCommonOptions(invocation.common);
    if (isToRun && !checked) answer = checked.error();
    if (!answer) {
        complain(answer.error().sentences.front());
        const std::string command = parser.givenCommand();
        printErrors("See quillon{}{} --help.\n", command.empty() ? "" : " ", command);
        return exitUsage;
    }
    if (!answer->empty()) {
        writeOut(*answer);
        return withOutputWritten(exitDone);
    }
    Cost cost;
    int code = exitDone;
    {
        Session session(invocation.common, &cost);
        code = withOutputWritten(invocation.run(session));
    }  // which may send requests
    if (invocation.common.verbosity > 0) complain(cost.text());
    return code;
}

// What the libraries would tidy up goes with the process, and sooner; a sanitizer looks at it.
int endWith(int code) {
#ifdef QUILLON_ENDS_AT_ONCE
    std::fflush(nullptr);
    std::_Exit(code);
#endif
    return code;
}

}  // namespace
}  // namespace quillon::cli

int main(int argc, char** argv) {
    using namespace quillon::cli;
    if (argc > 2 && argv[1] == keepWord && hasKeepLine())
        return keepCommand({argv + 2, argv + argc});
    occupyStandardStreams();
    forbidCoreDumps();
    prepareLocale();
    catchInterrupts();
    try {
        const int code = runProgram(argc, argv);
        if (code == exitUnread) endBySigpipe();
        return endWith(code);
    } catch (const std::exception& problem) {
        complain(problem.what());
        return endWith(exitLocal);
    }
}
