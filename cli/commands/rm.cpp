// quillon rm: members deleted.
#include <memory>
#include <optional>
#include <vector>

#include "cli/commands/command.hpp"
#include "cli/parser/options.hpp"

namespace quillon::cli {
namespace {

struct RmOptions {
    std::vector<std::string> urls;
    std::optional<Time> olderThan;
};

Error collectionMeant(Kind kind) {
    return localError(kind, "This is a collection, and was left alone. Use rmcol for it.");
}

// The creation date is what the check is about, and not every server keeps one.
Error explained(Error error) {
    if (error.code == Code::noCreationDate) {
        error.sentences.assign(1,
                               "This server keeps no dates of creation, so --older-than cannot be "
                               "checked; nothing was deleted. Leave it out if you are sure.");
    }
    if (error.code == Code::newerFile) {
        error.sentences.assign(1, "It is not as old as that; nothing was deleted.");
    }
    return error;
}

Result<void> remove(Session& session, const Address& address, std::optional<Time> olderThan) {
    if (!address.namesMember()) return collectionMeant(Kind::usage);
    const auto member = session.member(address, Purpose::look);
    if (!member) return member.error();
    Result<void> removed = (*member)->remove(olderThan);
    if (!removed) {
        const auto found = (*member)->lastInfo();
        const bool isCollection = found && found->exists && found->isCollection;
        return isCollection ? collectionMeant(Kind::refused)
                            : explained(std::move(removed).error());
    }
    (*member)->abandonLock();  // it went with the member
    session.forgetLocked(address);
    return {};
}

int run(Session& session, RmOptions& options) {
    return forEachUrl(session, options.urls, "delete", [&](const Address& address) {
        return remove(session, address, options.olderThan);
    });
}

}  // namespace

void addRm(CommandDefinition program, Invocation& invocation) {
    auto options = std::make_shared<RmOptions>();
    const CommandDefinition command = program.addCommand("rm", "Delete members");
    addUrls(command, options->urls, "Members; collections are for rmcol");
    addTimeOption(command, "--older-than", options->olderThan,
                  "Only those that were created by TIME, on a server that keeps such dates");
    command.setFooter(std::string(timeHelp) +
                      "\nExamples:\n"
                      "  quillon rm https://example.org/dav/old.txt\n"
                      "  quillon rm --older-than 7d https://example.org/dav/draft.txt\n");
    whenGiven(command, invocation, [options](Session& session) { return run(session, *options); });
}

}  // namespace quillon::cli
