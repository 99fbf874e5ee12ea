// quillon mv: a member under another name, or at another place.
#include <memory>
#include <utility>

#include "cli/commands/change/named_lock.hpp"
#include "cli/commands/matching.hpp"
#include "cli/commands/move/transfer.hpp"
#include "cli/session/confirm.hpp"
#include "cli/session/servers.hpp"
#include "cli/terminal/report.hpp"

namespace quillon::cli {
namespace {

Result<std::shared_ptr<Member>> rename(Session& session, const Address& address,
                                       const TransferOptions& options) {
    if (!address.namesMember()) {
        return localError(Kind::usage, "This is the server's root, which has no name.");
    }
    auto member = session.member(address);
    if (!member) return member;
    const Result<NamedLock> named = NamedLock::make(session, address, options.token);
    if (!named) return named.error();
    const Result<bool> own = (*member)->useOwnLock();
    if (!own) return own.error();
    const std::string& name = options.operands.back();
    const Result<void> renamed = (*member)->rename(name);
    if (renamed) return member;
    if (renamed.error().code == Code::preconditionFailed && *own) {
        const Result<Address> to = address.parent().member(name);
        const auto there =
            to ? session.openMember(*to, {.purpose = Purpose::look}) : Result<Member>(to.error());
        if (there && !there->exists()) return movesNothingLocked();
    }
    return renamed.error();
}

// Of a collection with locks of the person's own in it, which that does not name.
Result<void> renameTree(Session& session, const Address& collection, const std::string& name) {
    const Result<Address> to = collection.asMember().parent().member(name);
    if (!to) return to.error();
    const Result<Remote*> known = session.servers().of(collection);
    if (!known) return known.error();
    Remote& remote = **known;
    Result<void> renamed =
        remote.run(transferTold(remote, Deed::move, collection, to->asCollection(), Overwrite::no));
    if (renamed) return renamed;
    return withLocksWithin(session.leftWork(), collection.url(), std::move(renamed).error());
}

int runRename(Session& session, TransferOptions& options) {
    const Result<Address> typed = parseUrl(session, options.operands.front());
    if (!typed) return exitCode(typed.error().kind);
    const Address address = typed->asMember();
    const Address tree = address.asCollection();
    if (options.token.empty() && !session.ownLocks().lockedWithin(tree.url()).empty()) {
        const Result<void> renamed = renameTree(session, tree, options.operands.back());
        if (!renamed) return report("rename", typed->url(), renamed.error());
        confirm(session, "renamed " + address.name() + " to", options.operands.back());
        return exitDone;
    }
    const auto renamed = rename(session, address, options);
    if (!renamed) return report("rename", typed->url(), renamed.error());
    confirm(session, "renamed " + address.name() + " to", options.operands.back());
    session.forgetLocked(address);
    return takeOffOwnLock(session, address, **renamed);
}

// A new name is told from a place by the slash that it has not; so is it from a site's.
int runMv(Session& session, TransferOptions& options) {
    std::vector<std::string>& words = options.operands;
    const std::string& last = words.back();
    const bool isOfSite = Sites::knows(last);
    const bool isPlace = isOfSite || last.find('/') != std::string::npos;
    const bool isCollection = last.ends_with('/') || (isOfSite && last.ends_with(':'));
    const bool several = words.size() > 2 || !options.pattern.empty();
    if (several && !options.token.empty()) {
        complain("--token is the lock of one member: give a single URL, and no --match.");
        return exitUsage;
    }
    if (several && !isCollection) {
        complain("several go into a collection: end its URL with a slash.");
        return exitUsage;
    }
    const Telling& telling = options.telling;
    const bool isPlain = !options.force && !telling.dryRun && !telling.json;
    if (words.size() != 2 || isPlace) return transfer(session, Deed::move, options);
    session.progress().setSilent(telling.quiet);
    if (isPlain) return runRename(session, options);
    complain(
        "a rename within the collection takes no --force, --dry-run or --json. Name the "
        "place by its URL.");
    return exitUsage;
}

}  // namespace

void addMv(CommandDefinition program, Invocation& invocation) {
    auto options = std::make_shared<TransferOptions>();
    const CommandDefinition command =
        program.addCommand("mv", "Rename a member, or move members and collections elsewhere");
    command
        .addOption("URL... NEWNAME", options->operands,
                   "What is moved; then its new name, as it is read: every character is the "
                   "name's; or, since it has a slash or begins with a site's name and a colon, "
                   "where it goes: a collection that is there, or its own new URL")
        .typeName("")
        .required();
    command.addFlag("--force", options->force, "Replace members that are there");
    addTokenOption(command, options->token);
    addMatchOption(command, options->pattern, "move");
    addTellingOptions(command, options->telling);
    command.setFooter(
        "A name that is taken is left alone, and nothing is renamed.\n\n"
        "What has a slash is a place: a URL, or in a shell ../other/; and so is what begins\n"
        "with a site's name and a colon: work:plan.txt. Several go into a collection, whose URL\n"
        "ends in a slash. A collection moves with all that is in it.\n\n"
        "From one server to another each member is copied, fetched again and compared; then it\n"
        "is removed where it was, unless somebody changed it meanwhile. Of a collection nothing\n"
        "is removed before all of it has been copied.\n\n"
        "A lock that quillon lock left on the member for you, or that --token names, does not "
        "keep\n"
        "it from being moved. It is taken off: locks stay with the old name. The same holds for\n"
        "those of yours that are in a collection.\n\n"
        "Examples:\n"
        "  quillon mv https://example.org/dav/draft.txt \"Report 100%.txt\"\n"
        "  quillon mv https://example.org/dav/2025/ https://example.org/dav/archive/\n"
        "  quillon mv --match '*.bak' https://example.org/dav/ https://example.org/dav/old/\n");
    whenGiven(command, invocation,
              [options](Session& session) { return runMv(session, *options); });
}

}  // namespace quillon::cli
