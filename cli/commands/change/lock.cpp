// quillon lock: a command that runs while nobody else can write, or a lock for later.
#include <unistd.h>

#include <memory>
#include <vector>

#include "cli/commands/change/change.hpp"
#include "cli/commands/change/named_lock.hpp"
#include "cli/commands/command.hpp"
#include "cli/terminal/foreground.hpp"
#include "cli/terminal/format.hpp"
#include "cli/terminal/print.hpp"
#include "cli/terminal/report.hpp"
#include "cli/terminal/suggestion.hpp"
#include "cli/terminal/terminal.hpp"

namespace quillon::cli {
namespace {

constexpr std::string_view fileMark = "{}";

struct LockWords {
    std::string url;
    std::vector<std::string> command;
    std::string token;  // of the lock under which the command runs
};

// The file stands where "{}" does, else at the end.
std::vector<std::string> withFile(std::vector<std::string> words, const std::string& file) {
    bool placed = false;
    for (std::string& word : words) {
        for (size_t at = 0; (at = word.find(fileMark, at)) != word.npos; at += file.size()) {
            word.replace(at, fileMark.size(), file);
            placed = true;
        }
    }
    if (!placed) words.push_back(file);
    return words;
}

int runUnderLock(Session& session, const Address& address, const LockWords& words) {
    const auto run = [&](const WorkCopy& copy, const WhileHeld& held) {
        const std::string file = copy.file();
        return runForeground(withFile(words.command, file), copy.descriptor(), held.eachSecond,
                             {"QUILLON_FILE=" + file});
    };
    return changeMember(session, address, {.attempt = "change", .token = words.token, .run = run});
}

Result<std::shared_ptr<Member>> takeLock(Session& session, const Address& address) {
    auto member = session.member(address);
    if (!member) return member;
    if ((*member)->locked()) return localError(Kind::locked, "You hold its lock already.");
    const Result<Protection> protection = (*member)->lock();
    if (!protection) return protection.error();
    if (*protection != Protection::lock) {
        return localError(Kind::refused, "This server does not lock it.");
    }
    if ((*member)->usesOwnLock()) {
        return localError(Kind::locked,
                          "You hold its lock already. To take it off: quillon unlock "
                          "--mine " +
                              shellWord(address.url()));
    }
    session.leftWork().noteLockTaken(address.url());
    return member;
}

// Without a note the lock is as good, but for --mine.
void noteKept(const Address& address, const Member& member) {
    Result<WrittenNote> note = WrittenNote::write({address.url(),
                                                   member.lockToken(),
                                                   {},
                                                   {},
                                                   getpid(),
                                                   LockKind::kept,
                                                   member.lockTimeout()});
    if (note) {
        note->leave();
    } else {
        report("note that the lock is yours, on", address.url(), note.error());
    }
}

int lockForLater(Session& session, const Address& address) {
    const auto member = takeLock(session, address);
    if (!member) return report("lock", address.url(), member.error());
    if (session.base) {
        session.rememberLocked(address, *member);
        printOut("{} is locked until you unlock it or leave\n", forOutput(address.name()));
        return exitDone;
    }
    const std::string token = (*member)->lockToken();
    if (!tokenShowable(token)) {  // nobody could name it to unlock
        const Result<void> unlocked = (*member)->unlock();
        return report("lock", address.url(),
                      unlocked ? localError(Kind::network,
                                            "The server's lock token is not a URI, so the lock was "
                                            "given back.")
                               : unlocked.error());
    }
    printOut("{}\n", token);
    noteKept(address, **member);
    (*member)->abandonLock();
    return exitDone;
}

int runLock(Session& session, LockWords& words) {
    const Result<Address> address = parseUrl(session, words.url);
    if (!address) return exitCode(address.error().kind);
    if (words.command.empty() && !words.token.empty()) {
        return report("lock", address->url(),
                      localError(Kind::usage, "--token is the lock of a COMMAND behind --."));
    }
    return words.command.empty() ? lockForLater(session, *address)
                                 : runUnderLock(session, *address, words);
}

}  // namespace

void addLock(CommandDefinition program, Invocation& invocation) {
    auto words = std::make_shared<LockWords>();
    const CommandDefinition command =
        program.addCommand("lock", "Run a command while a member is locked");
    addUrl(command, words->url, "A member");
    command
        .addOption("COMMAND", words->command,
                   "Behind --; a local file with the member's content is its last argument, "
                   "or stands in place of each {}, and $QUILLON_FILE names it")
        .typeName("");
    addTokenOption(command, words->token);
    command.setFooter(
        "The member is fetched before, and stored after when the command changed the file. When\n"
        "the command fails, nothing is stored, the file is kept if it was changed, and the exit\n"
        "code is the command's.\n\n"
        "Without COMMAND the lock stays on the server, until it runs out, and its token is\n"
        "printed, for quillon unlock, which also knows it by --mine. put, edit, open, rm, mv, "
        "touch\n"
        "and lock with a COMMAND use it by themselves until then; rm and mv take it off with the\n"
        "name. In the shell it stays until unlock, or the shell's end.\n\n"
        "Examples:\n"
        "  quillon lock https://example.org/dav/list.txt -- sort -o {} {}\n"
        "  quillon lock https://example.org/dav/q3.csv -- sh -c 'make >> \"$QUILLON_FILE\"'\n");
    whenGiven(command, invocation, [words](Session& session) { return runLock(session, *words); });
}

}  // namespace quillon::cli
