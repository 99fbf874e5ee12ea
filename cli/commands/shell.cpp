// quillon shell: the commands in a collection, one after another.
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "cli/commands/change/change.hpp"
#include "cli/commands/command.hpp"
#include "cli/commands/expand.hpp"
#include "cli/commands/what_is_there.hpp"
#include "cli/parser/position.hpp"
#include "cli/parser/shell_path.hpp"
#include "cli/parser/words.hpp"
#include "cli/terminal/foreground.hpp"
#include "cli/terminal/line_reader.hpp"
#include "cli/terminal/print.hpp"
#include "cli/terminal/process.hpp"
#include "cli/terminal/report.hpp"
#include "cli/terminal/terminal.hpp"
#include "platform/text/url.hpp"

namespace quillon::cli {
namespace {

// Credentials are not for a file.
bool mayBeRemembered(std::string_view line) {
    const Result<std::vector<std::string>> words = splitWords(line);
    return words && !words->empty() && std::ranges::all_of(*words, [](const std::string& word) {
               return credentialsIn(word).empty();
           });
}

class Shell {
public:
    Shell(Session& session, Address start) : session_(session), start_(std::move(start)) {
        session_.base = start_;
    }
    Shell(const Shell&) = delete;
    Shell& operator=(const Shell&) = delete;
    ~Shell() { session_.base.reset(); }

    int run();

private:
    int runLine(const std::string& line);
    int runWords(std::vector<ShellWord> words);
    bool isPlace(const std::string& typed);
    void addLocalCommands(CommandDefinition program, Invocation& invocation);
    void addShellCommands(const Parser& parser, Invocation& invocation);
    int changeCollection(std::string& path);
    int changeLocalDirectory(const std::string& path) const;
    int runLocally(const std::vector<std::string>& words);
    int unlockAll();
    std::string prompt() const;

    Completion complete(std::string_view line);
    std::vector<std::string> candidates(const LastWord& word);
    std::vector<std::string> commandNames();
    std::vector<std::string> memberNames(const std::string& path);
    static std::vector<std::string> localNames(const std::string& path);

    Session& session_;
    const Address start_;
    std::optional<Address> before_;  // the collection that cd left last
    bool done_ = false;
    std::optional<std::string> listed_;  // the collection whose names are known
    std::vector<std::string> names_;     // collections with a final slash
};

// Where one is: the site or the server, and the path there.
std::string Shell::prompt() const {
    return harmless(session_.sites().shortName(*session_.base)) + "> ";
}

int Shell::run() {
    const auto lines = makeLineReader([this](std::string_view line) { return complete(line); },
                                      mayBeRemembered, [this] { session_.renewLocks(); });
    int code = exitDone;
    while (!done_) {
        const std::optional<std::string> line = lines->next(prompt());
        if (!line) break;
        const int failed = runLine(*line);
        listed_.reset();
        const bool goesOn = !interrupted() || (isTerminal(stdin) && forgetInterrupt());
        if (code == exitDone) code = failed;
        if (!goesOn) break;
    }
    if (interrupted()) code = exitInterrupted;
    const int locks = unlockAll();
    // A person has seen what failed.
    if (isTerminal(stdin) && code != exitInterrupted) return locks;
    return code == exitDone ? locks : code;
}

int Shell::runLine(const std::string& line) {
    const size_t begun = line.find_first_not_of(" \t");
    if (begun != std::string::npos && line[begun] == '!') {
        return runLocally({"sh", "-c", line.substr(begun + 1)});
    }
    Result<std::vector<ShellWord>> words = splitShellWords(line);
    if (!words) {
        complain(words.error().sentences.front());
        return exitUsage;
    }
    return words->empty() ? exitDone : runWords(std::move(*words));
}

int Shell::runLocally(const std::vector<std::string>& words) {
    flushOut();
    return runForeground(words, STDIN_FILENO, [this] { session_.renewLocks(); });
}

// A collection by its URL or as a site's; a member has a name at its end.
bool Shell::isPlace(const std::string& typed) {
    if (typed.find("://") == typed.npos && !session_.sites().knows(typed)) return false;
    const Result<Address> address = session_.sites().resolve(typed);
    return address && !address->namesMember();
}

int Shell::runWords(std::vector<ShellWord> typed) {
    // As those of other programs go to a server; of a member it is the desktop that opens it.
    const bool goes = typed.size() == 2 && typed.front().text == "open" && isPlace(typed[1].text);
    if (goes) typed.front().text = "cd";
    Parser parser("",
                  "Names are relative to the collection, as ls shows them; quote blanks, and *, ? "
                  "and [ that are no pattern. A line that begins with ! is for the local shell.");
    Invocation invocation;
    invocation.inShell = true;
    parser.setWidth(textWidth());
    parser.requireCommand();
    addCommands(parser.program(), invocation);
    addShellCommands(parser, invocation);
    for (const ShellWord& word : typed) concealInReports(credentialsIn(word.text));
    if (typed.size() > 1 && typed.front().text == "help") {
        typed.erase(typed.begin());
        typed.resize(1);
        if (parser.program().findCommand(typed.front().text)) typed.push_back({"--help", ""});
    }
    Result<std::vector<std::string>> words =
        expandWords(session_, parser.program(), std::move(typed));
    if (!words) return report("use this pattern", {}, words.error());
    const Result<std::string> answer = parser.parse(std::move(*words));
    if (!answer) {
        complain(answer.error().sentences.front());
        return exitUsage;
    }
    writeOut(*answer);
    const int code = answer->empty() ? invocation.run(session_) : exitDone;
    flushOut();
    return code;
}

void Shell::addShellCommands(const Parser& parser, Invocation& invocation) {
    auto path = std::make_shared<std::string>();
    const CommandDefinition program = parser.program();
    const CommandDefinition cd =
        program.addCommand("cd", "Go to another collection, or to the first one");
    cd.addOption("URL", *path, "A collection; - is the one before").typeName("");
    whenGiven(cd, invocation, [this, path](Session&) { return changeCollection(*path); });
    const CommandDefinition pwd = program.addCommand("pwd", "Print the collection's URL");
    whenGiven(pwd, invocation, [](Session& session) -> int {
        printOut("{}\n", session.base->url());
        return exitDone;
    });
    addLocalCommands(program, invocation);
    const CommandDefinition help =
        program.addCommand("help", "Print this; help COMMAND tells more of one");
    whenGiven(help, invocation, [&parser](Session&) -> int {
        writeOut(parser.help());
        return exitDone;
    });
    const CommandDefinition leave =
        program.addCommand("exit", "Give back the locks and end the shell");
    leave.addAlias("quit");
    whenGiven(leave, invocation, [this](Session&) -> int {
        done_ = true;
        return exitDone;
    });
}

void Shell::addLocalCommands(CommandDefinition program, Invocation& invocation) {
    auto directory = std::make_shared<std::string>();
    const CommandDefinition lcd =
        program.addCommand("lcd", "Go to another local directory, or home");
    lcd.addOption("DIRECTORY", *directory, "A local one").typeName("");
    whenGiven(lcd, invocation,
              [this, directory](Session&) { return changeLocalDirectory(*directory); });
    auto files = std::make_shared<std::vector<std::string>>();
    const CommandDefinition lls = program.addCommand("lls", "List local files");
    lls.addOption("FILE", *files, "Local files and directories; options of ls stand behind --")
        .typeName("");
    whenGiven(lls, invocation, [this, files](Session&) {
        std::vector<std::string> words{"ls"};
        words.insert(words.end(), files->begin(), files->end());
        return runLocally(words);
    });
    const CommandDefinition lpwd = program.addCommand("lpwd", "Print the local directory");
    whenGiven(lpwd, invocation, [](Session&) -> int {
        std::error_code failed;
        printOut("{}\n", forOutput(std::filesystem::current_path(failed).string()));
        return failed ? exitLocal : exitDone;
    });
}

int Shell::changeLocalDirectory(const std::string& path) const {
    const char* home = std::getenv("HOME");
    const std::string to = path.empty() && home != nullptr ? home : path;
    if (chdir(to.c_str()) == 0) return exitDone;
    complain(fmt::format("cannot go to {}: {}", to, std::strerror(errno)));
    return exitLocal;
}

int Shell::changeCollection(std::string& path) {
    if (path == "-" && !before_) {
        complain("there is no collection before this one");
        return exitUsage;
    }
    const bool goesBack = path == "-";
    const Result<Address> address =
        path.empty() ? start_ : (goesBack ? *before_ : parseUrl(session_, path));
    if (!address) return exitCode(address.error().kind);
    const Address collection = address->asCollection();
    const auto opened = session_.open(collection);
    if (!opened) {
        return report("go to", collection.url(),
                      explainNotOpened(session_, collection, opened.error()));
    }
    before_ = std::exchange(session_.base, collection);
    if (goesBack) printOut("{}\n", collection.url());
    return exitDone;
}

int Shell::unlockAll() {
    int code = exitDone;
    for (const Address& address : session_.lockedAddresses()) {
        Result<void> unlocked = session_.lockedMember(address)->unlock();
        session_.forgetLocked(address);
        if (unlocked || lockIsGone(unlocked.error())) continue;
        code = reportNotUnlocked(address, std::move(unlocked).error());
    }
    return code;
}

std::vector<std::string> Shell::memberNames(const std::string& path) {
    const Result<Address> address = resolveShellPath(*session_.base, path);
    if (!address || path.find("://") != path.npos) return {};
    const Address collection = address->asCollection();
    if (listed_ == collection.url()) return names_;
    const Result<Members> listing = session_.list(collection, namesAlone);
    if (!listing) return {};
    names_.clear();
    for (const Resource& each : listing->resources)
        names_.push_back(vxhost::decodeSegment(each.segment) + (each.isCollection ? "/" : ""));
    listed_ = collection.url();
    return names_;
}

std::vector<std::string> Shell::commandNames() {
    const Parser parser("", "");
    Invocation unused;
    addCommands(parser.program(), unused);
    addShellCommands(parser, unused);
    std::vector<std::string> names;
    for (const CommandDefinition command : parser.program().commands())
        names.push_back(command.name());
    return names;
}

std::vector<std::string> Shell::localNames(const std::string& path) {
    std::vector<std::string> names;
    std::error_code failed;
    const std::filesystem::directory_iterator all(path.empty() ? "." : path, failed);
    if (failed) return names;
    for (const auto& entry : all) {
        std::error_code none;
        names.push_back(entry.path().filename().string() + (entry.is_directory(none) ? "/" : ""));
    }
    return names;
}

// Those that begin as the typed word does, each once and sorted.
std::vector<std::string> matching(std::vector<std::string> words, const std::string& typed) {
    std::erase_if(words, [&](const std::string& word) { return !word.starts_with(typed); });
    std::sort(words.begin(), words.end());
    words.erase(std::unique(words.begin(), words.end()), words.end());
    return words;
}

// Whole words that begin as the typed one does: files of this machine where they belong, else names
// of the collection. What put takes first are files alone.
std::vector<std::string> Shell::candidates(const LastWord& word) {
    std::vector<std::string> found;
    if (word.before == 0) {
        found = commandNames();
    } else {
        const Parser parser("", "");
        Invocation unused;
        unused.inShell = true;
        addCommands(parser.program(), unused);
        addShellCommands(parser, unused);
        Position position(parser.program());
        for (const std::string& before : word.wordsBefore) position.advance(before);
        if (!position.awaits && position.mayBeOption(word.text))
            return matching(position.optionNames(), word.text);
        const size_t slash = word.text.rfind('/') + 1;  // 0: none
        const std::string path = word.text.substr(0, slash);
        const bool isLocal = position.namesLocalFiles();
        if (isLocal) found = localNames(path);
        if (!isLocal || (position.namesUrls() && position.operands > 0)) {
            const std::vector<std::string> members = memberNames(path);
            found.insert(found.end(), members.begin(), members.end());
        }
        for (std::string& name : found) name.insert(0, path);
    }
    return matching(std::move(found), word.text);
}

// Behind the last slash but one that ends a name: what is before is typed already.
std::string lastPart(const std::string& path) {
    const size_t end = path.ends_with('/') && path.size() > 1 ? path.size() - 2 : path.npos;
    return path.substr(path.rfind('/', end) + 1);
}

Completion Shell::complete(std::string_view line) {
    const LastWord word = lastWord(line);
    const std::vector<std::string> found = candidates(word);
    if (found.empty()) return {};
    // Sorted: what the first and the last have in common, all have.
    const std::string& first = found.front();
    const auto end =
        std::mismatch(first.begin(), first.end(), found.back().begin(), found.back().end());
    std::string common(first.begin(), end.first);
    while (!common.empty() && common.size() < first.size() &&
           (static_cast<unsigned char>(first[common.size()]) & 0xC0) == 0x80) {
        common.pop_back();  // half a character
    }
    const bool sure = found.size() == 1;
    Completion completion;
    completion.replaced = line.size() - word.start;
    completion.word = quotedWord(common);
    if (sure && !common.ends_with('/')) completion.word += ' ';
    if (sure || common.size() > word.text.size()) return completion;
    for (const std::string& text : found) completion.choices.push_back(lastPart(text));
    return completion;
}

int runShell(Session& session, std::string& url) {
    const Result<Address> address = parseUrl(session, url);
    if (!address) return exitCode(address.error().kind);
    const Address collection = address->asCollection();
    const auto opened = session.open(collection);
    if (!opened) {
        return report("open", collection.url(),
                      explainNotOpened(session, collection, opened.error()));
    }
    return Shell(session, collection).run();
}

}  // namespace

void addShell(CommandDefinition program, Invocation& invocation) {
    auto url = std::make_shared<std::string>();
    const CommandDefinition command =
        program.addCommand("shell", "Work in a collection interactively");
    addUrl(command, *url, "A collection");
    command.setFooter(
        "Takes the other commands, with names in place of URLs, and cd (cd - goes back), pwd,\n"
        "help and exit; lcd, lls and lpwd are for this machine's files, and what stands behind a "
        "!\n"
        "is for its shell. *, ? and [ without quotes make a pattern: of local files where put\n"
        "takes them, else of members. A character that ls shows as \\x1B is typed so, too.\n\n"
        "open goes to another server: open https://example.com/dav/, or open work: for a site.\n\n"
        "A lock that lock takes is used by put and edit until unlock, and given back at the end. "
        "At a\n"
        "terminal lines can be edited, completed with Tab and recalled. Otherwise commands are\n"
        "read from the standard input, and the exit code is that of the first one that failed.\n\n"
        "Examples:\n"
        "  quillon shell https://example.org/dav/\n"
        "  printf 'cd drafts\\nput a.txt\\nls -l\\n' | quillon shell https://example.org/dav/\n");
    whenGiven(command, invocation, [url](Session& session) { return runShell(session, *url); });
}

}  // namespace quillon::cli
