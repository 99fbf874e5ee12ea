// quillon rmcol: collections deleted.
#include <memory>
#include <vector>

#include "cli/commands/command.hpp"
#include "cli/commands/move/remove_tree.hpp"
#include "cli/commands/move/telling.hpp"
#include "cli/session/confirm.hpp"

namespace quillon::cli {
namespace {

constexpr int failedDependency = 424;  // RFC 4918, 11.4

struct RmcolOptions {
    std::vector<std::string> urls;
    bool recursive = false;
    bool quiet = false;
};

Error withMembersExplained(Error error) {
    if (error.code == Code::deleteRefused && error.httpStatus == 0) {
        error.sentences.assign(1,
                               "It holds members, so it was left alone. Use --recursive to delete "
                               "it with all that is in it.");
    }
    return error;
}

// Some servers delete a member, too, when its name comes with a final slash.
Result<void> checkIsCollection(Session& session, const Address& address) {
    Result<Member> itself = session.openMember(address, {.purpose = Purpose::look});
    if (!itself) return std::move(itself).error();
    const Result<Properties> properties = itself->info();
    if (!properties) return properties.error();
    if (properties->isCollection) return {};
    return localError(Kind::usage, "This is no collection, and was left alone. Use rm for it.");
}

Result<void> remove(Session& session, const Address& address, bool recursive) {
    if (Result<void> checked = checkIsCollection(session, address); !checked) return checked;
    // The table of operations names no locks of what is in it.
    const bool mayHoldLocks = recursive && address.asMember().namesMember();
    if (mayHoldLocks && !session.ownLocks().lockedWithin(address.url()).empty()) {
        return removeTree(session, address);
    }
    const Result<Extension> extension = session.extension(address);
    if (!extension) return extension.error();
    Result<void> removed = session.withLogin(address, [&](const Login& login) {
        return removeCollection(*extension, address, login, recursive);
    });
    // Nor does it name what in it could not be deleted, such as what somebody else has locked.
    const bool dependsOnMembers = !removed && removed.error().httpStatus == failedDependency;
    if (mayHoldLocks && dependsOnMembers) return removeTree(session, address);
    if (!removed) return withMembersExplained(std::move(removed).error());
    return {};
}

int runRmcol(Session& session, RmcolOptions& options) {
    session.progress().setSilent(options.quiet);
    return forEachUrl(session, options.urls, "delete", [&](const Address& address) {
        Result<void> removed = remove(session, address.asCollection(), options.recursive);
        if (removed) confirm(session, "deleted", address.asCollection().url());
        return removed;
    });
}

}  // namespace

void addRmcol(CommandDefinition program, Invocation& invocation) {
    auto options = std::make_shared<RmcolOptions>();
    const CommandDefinition command = program.addCommand("rmcol", "Delete collections");
    addUrls(command, options->urls, "Collections, with or without final slash");
    command.addFlag("-r,--recursive", options->recursive, "With all that is in them");
    addQuietOption(command, options->quiet);
    command.setFooter(
        "Examples:\n"
        "  quillon rmcol https://example.org/dav/empty/\n"
        "  quillon rmcol --recursive https://example.org/dav/old-reports/\n");
    whenGiven(command, invocation,
              [options](Session& session) { return runRmcol(session, *options); });
}

}  // namespace quillon::cli
