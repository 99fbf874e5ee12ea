// quillon unlock: a lock taken off a member.
#include <fmt/format.h>

#include <memory>
#include <utility>

#include "cli/commands/change/lock_text.hpp"
#include "cli/commands/command.hpp"
#include "cli/session/question.hpp"
#include "cli/session/remote_access.hpp"
#include "cli/terminal/report.hpp"
#include "cli/terminal/terminal.hpp"
#include "client/lock_notes.hpp"
#include "client/remote/held_lock.hpp"
#include "platform/http/headers.hpp"

namespace quillon::cli {
namespace {

struct UnlockOptions {
    std::string url;
    std::string token;
    bool mine = false, steal = false, yes = false;
};

// Gives back what is noted, and notes that.
Result<void> giveBackNoted(Session& session, Remote& remote, const LockNote& note) {
    if (vxhost::parseTokenUri(note.token) != note.token) {
        return localError(Kind::usage, "This is no lock token.");
    }
    HeldLock lock(note.url, note.token, false, nullptr);
    Result<void> back = remote.run(giveBack(remote, std::move(lock)));
    if (!back) return back;
    session.leftWork().noteLockOff(note.url, note.token);
    if (!note.text.empty()) {
        complain(fmt::format("{}: the lock is off; what you wrote is still in {}", note.url,
                             note.text.string()));
    }
    return {};
}

Result<void> unlockMine(Session& session, const Address& address) {
    const std::vector<LockNote> mine = session.leftWork().findMine(address.url());
    if (mine.empty()) {
        return localError(Kind::notFound,
                          "No lock of yours is noted there, but for those of commands that still "
                          "run. See quillon locks.");
    }
    for (const LockNote& note : mine) session.leftWork().markTold(note.url);
    return session.withRemote(address, [&](Remote& remote) -> Result<void> {
        for (const LockNote& note : mine) {
            Result<void> back = giveBackNoted(session, remote, note);
            if (!back) return back;
        }
        return {};
    });
}

// Of the resource itself, not of what is in it.
Result<std::vector<FoundLock>> findThem(Session& session, const Address& address) {
    using Found = Result<std::optional<std::vector<FoundLock>>>;
    Found told = session.withRemote(address, [&](Remote& remote) -> Found {
        return remote.run(findLocks(remote, address.url()));
    });
    if (!told) return std::move(told).error();
    if (!*told) return localError(Kind::refused, "The server does not tell of its locks.");
    std::vector<FoundLock> found = std::move(**told);
    std::erase_if(found, [](const FoundLock& each) { return !each.segment.empty(); });
    if (found.empty()) return localError(Kind::notFound, "Nobody holds a lock on it.");
    for (const FoundLock& each : found) {
        if (!each.token.empty()) continue;
        return localError(Kind::refused,
                          "The server does not tell the token of its lock, without which nobody "
                          "can take it off.");
    }
    return found;
}

Result<void> stealLocks(Session& session, const Address& address, bool yes) {
    const Result<std::vector<FoundLock>> found = findThem(session, address);
    if (!found) return found.error();
    std::string holders;
    for (const FoundLock& each : *found) {
        holders += fmt::format("{}{}, {}", holders.empty() ? "" : "; ", each.owner, endText(each));
    }
    if (!yes) {
        const Result<bool> may =
            askPerson(fmt::format("{} is locked by {}. Who holds the lock is not told that it is "
                                  "gone, and may store later over what you do. Take it off?",
                                  harmless(address.url()), harmless(holders)),
                      "--yes");
        if (!may) return may.error();
        if (!*may) return {};
    }
    return session.withRemote(address, [&](Remote& remote) -> Result<void> {
        for (const FoundLock& each : *found) {
            Result<void> back =
                giveBackNoted(session, remote, {address.url(), each.token, {}, {}, 0});
            if (!back) return back;
        }
        return {};
    });
}

Result<void> unlock(Session& session, const Address& address, const UnlockOptions& options) {
    const std::string& token = options.token;
    if (options.steal) return stealLocks(session, address, options.yes);
    if (const auto locked = session.lockedMember(address); locked && token.empty()) {
        Result<void> unlocked = locked->unlock();
        session.forgetLocked(address);
        return unlocked;
    }
    if (options.mine) return unlockMine(session, address);
    if (token.empty()) {
        return localError(Kind::usage,
                          "Name the lock with --token, or say --mine for those that are noted to "
                          "be yours. quillon locks shows them.");
    }
    session.leftWork().markTold(address.url());
    if (!address.namesMember()) {
        return session.withRemote(address, [&](Remote& remote) -> Result<void> {
            return giveBackNoted(session, remote, {address.url(), token, {}, {}, 0});
        });
    }
    const auto member = session.member(address);
    if (!member) return member.error();
    Result<void> adopted = (*member)->adoptLock(token);
    if (!adopted) return adopted;
    Result<void> unlocked = (*member)->unlock();
    if (!unlocked && !lockIsGone(unlocked.error())) return unlocked;
    session.leftWork().noteLockOff(address.url(), token);
    if (!unlocked) {
        return localError(Kind::notFound,
                          "It has no lock with this token. The lock may have run out, or was "
                          "taken off already.");
    }
    return {};
}

int runUnlock(Session& session, UnlockOptions& options) {
    const Result<Address> address = parseUrl(session, options.url);
    if (!address) return exitCode(address.error().kind);
    const Result<void> unlocked = unlock(session, *address, options);
    return unlocked ? exitDone : report("unlock", address->url(), unlocked.error());
}

}  // namespace

void addUnlock(CommandDefinition program, Invocation& invocation) {
    auto options = std::make_shared<UnlockOptions>();
    const CommandDefinition command =
        program.addCommand("unlock", "Take a lock off a member or collection");
    addUrl(command, options->url, "A member or collection");
    const OptionDefinition token =
        command.addOption("--token", options->token, "The lock's, which lock prints")
            .typeName("TOKEN")
            .notEmpty();
    const OptionDefinition mine = command.addFlag(
        "--mine", options->mine,
        "All that are noted to be yours, but for those of commands that still run; of a "
        "collection, those in it, too");
    command
        .addFlag("--steal", options->steal, "Whoever holds it, after a question; they are not told")
        .excludes(token)
        .excludes(mine);
    mine.excludes(token);
    command.addFlag("-y,--yes", options->yes, "Answer that question with yes");
    command.setFooter(
        "A lock of yours that is in your way is told of with its token; quillon locks shows all.\n"
        "Of a text of yours that was not stored when quillon was killed, --mine gives back the "
        "lock\n"
        "and leaves the text.\n\n"
        "Examples:\n"
        "  quillon unlock --mine https://example.org/dav/plan.txt\n"
        "  quillon unlock https://example.org/dav/plan.txt --token opaquelocktoken:e71d4fae-...\n");
    whenGiven(command, invocation,
              [options](Session& session) { return runUnlock(session, *options); });
}

}  // namespace quillon::cli
