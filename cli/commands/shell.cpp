// quillon shell: the commands in a collection, one after another.
#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <vector>

#include "cli/commands/change.hpp"
#include "cli/commands/command.hpp"
#include "cli/commands/what_is_there.hpp"
#include "cli/parser/shell_path.hpp"
#include "cli/parser/words.hpp"
#include "cli/terminal/line_reader.hpp"
#include "cli/terminal/process.hpp"
#include "cli/terminal/report.hpp"
#include "cli/terminal/terminal.hpp"

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
    int runWords(std::vector<std::string> words);
    void addShellCommands(const Parser& parser, Invocation& invocation);
    int changeCollection(std::string& path);
    int unlockAll();
    std::string prompt() const;

    Completion complete(std::string_view line);
    std::vector<std::string> candidates(const LastWord& word);
    std::vector<std::string> memberNames(const std::string& path);

    Session& session_;
    const Address start_;
    bool done_ = false;
    std::optional<std::string> listed_;  // the collection whose names are known
    std::vector<std::string> names_;     // collections with a final slash
};

std::string Shell::prompt() const {
    return harmless(session_.base->name()) + "> ";
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
    Result<std::vector<std::string>> words = splitWords(line);
    if (!words) {
        complain(words.error().sentences.front());
        return exitUsage;
    }
    return words->empty() ? exitDone : runWords(std::move(*words));
}

int Shell::runWords(std::vector<std::string> words) {
    Parser parser("", "Names are relative to the collection, as ls shows them; quote blanks.");
    Invocation invocation;
    invocation.inShell = true;
    parser.requireCommand();
    addCommands(parser.program(), invocation);
    addShellCommands(parser, invocation);
    for (const std::string& word : words) concealInReports(credentialsIn(word));
    const Result<std::string> answer = parser.parse(std::move(words));
    if (!answer) {
        complain(answer.error().sentences.front());
        return exitUsage;
    }
    fmt::print("{}", *answer);
    const int code = answer->empty() ? invocation.run(session_) : exitDone;
    std::fflush(stdout);
    return code;
}

void Shell::addShellCommands(const Parser& parser, Invocation& invocation) {
    auto path = std::make_shared<std::string>();
    const CommandDefinition program = parser.program();
    const CommandDefinition cd =
        program.addCommand("cd", "Go to another collection, or to the first one");
    cd.addOption("URL", *path, "A collection").typeName("");
    whenGiven(cd, invocation, [this, path](Session&) { return changeCollection(*path); });
    const CommandDefinition pwd = program.addCommand("pwd", "Print the collection's URL");
    whenGiven(pwd, invocation, [](Session& session) -> int {
        fmt::print("{}\n", session.base->url());
        return exitDone;
    });
    const CommandDefinition help = program.addCommand("help", "Print this");
    whenGiven(help, invocation, [&parser](Session&) -> int {
        fmt::print("{}", parser.help());
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

int Shell::changeCollection(std::string& path) {
    const Result<Address> address = path.empty() ? start_ : parseUrl(session_, path);
    if (!address) return exitCode(address.error().kind);
    const Address collection = address->asCollection();
    const auto opened = session_.open(collection);
    if (!opened) {
        return report("go to", collection.url(),
                      explainNotOpened(session_, collection, opened.error()));
    }
    session_.base = collection;
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
    const Result<Listing> listing = session_.list(collection);
    if (!listing) return {};
    names_.clear();
    for (const Entry entry : *listing)
        names_.push_back(entry.name() + (entry.isCollection() ? "/" : ""));
    listed_ = collection.url();
    return names_;
}

// Whole words that begin as the typed one does.
std::vector<std::string> Shell::candidates(const LastWord& word) {
    std::vector<std::string> found;
    if (word.before == 0) {
        const Parser parser("", "");
        Invocation unused;
        addCommands(parser.program(), unused);
        addShellCommands(parser, unused);
        for (const CommandDefinition command : parser.program().commands())
            found.push_back(command.name());
    } else {
        const size_t slash = word.text.rfind('/') + 1;  // 0: none
        const std::string path = word.text.substr(0, slash);
        for (const std::string& name : memberNames(path)) found.push_back(path + name);
    }
    std::erase_if(found, [&](const std::string& text) { return !text.starts_with(word.text); });
    std::sort(found.begin(), found.end());
    return found;
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
    for (const std::string& text : found) completion.choices += harmless(text) + "\n";
    return completion;
}

int run(Session& session, std::string& url) {
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
        "Takes the other commands, with names in place of URLs, and cd, pwd, help and exit. A "
        "lock\n"
        "that lock takes is used by put and edit until unlock, and given back at the end. At a\n"
        "terminal lines can be edited, completed with Tab and recalled. Otherwise commands are\n"
        "read from the standard input, and the exit code is that of the first one that failed.\n\n"
        "Examples:\n"
        "  quillon shell https://example.org/dav/\n"
        "  printf 'cd drafts\\nput a.txt\\nls -l\\n' | quillon shell https://example.org/dav/\n");
    whenGiven(command, invocation, [url](Session& session) { return run(session, *url); });
}

}  // namespace quillon::cli
