// quillon unlock: a lock taken off a member.
#include <memory>

#include "cli/commands/command.hpp"
#include "cli/terminal/report.hpp"

namespace quillon::cli {
namespace {

struct UnlockOptions {
    std::string url;
    std::string token;
};

Result<void> unlock(Session& session, const Address& address, const std::string& token) {
    if (const auto locked = session.lockedMember(address); locked && token.empty()) {
        Result<void> unlocked = locked->unlock();
        session.forgetLocked(address);
        return unlocked;
    }
    if (token.empty()) {
        return localError(Kind::usage,
                          "Name the lock with --token, as the message said that told of it.");
    }
    session.leftWork().markTold(address.url());
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
    const Result<void> unlocked = unlock(session, *address, options.token);
    return unlocked ? exitDone : report("unlock", address->url(), unlocked.error());
}

}  // namespace

void addUnlock(CommandDefinition program, Invocation& invocation) {
    auto options = std::make_shared<UnlockOptions>();
    const CommandDefinition command = program.addCommand("unlock", "Take a lock off a member");
    addUrl(command, options->url, "A member");
    command.addOption("--token", options->token, "The lock's, which lock prints").typeName("TOKEN");
    command.setFooter(
        "A lock of yours that could not be given back, or is in your way, is told of with its\n"
        "token.\n\n"
        "Examples:\n"
        "  quillon unlock https://example.org/dav/plan.txt --token opaquelocktoken:e71d4fae-...\n");
    whenGiven(command, invocation,
              [options](Session& session) { return runUnlock(session, *options); });
}

}  // namespace quillon::cli
