// quillon rm: members deleted.
#include <CLI/CLI.hpp>
#include <memory>
#include <optional>
#include <vector>

#include "cli/command.hpp"
#include "cli/report.hpp"
#include "cli/time_argument.hpp"

namespace quillon::cli {
namespace {

struct RmOptions {
    std::vector<std::string> urls;
    std::string olderThan;
};

Error collectionMeant() {
    return localError(Kind::usage, "This is a collection, and was left alone. Use rmcol for it.");
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
    if (!address.namesMember()) return collectionMeant();
    const auto member = session.member(address);
    if (!member) return member.error();
    Result<void> removed = (*member)->remove(olderThan);
    if (!removed) return explained(std::move(removed).error());
    (*member)->abandonLock();  // it went with the member
    session.forgetLocked(address);
    return {};
}

int run(Session& session, RmOptions& options) {
    std::optional<Time> olderThan;
    if (!options.olderThan.empty()) {
        const Result<Time> limit = parseTimeArgument(options.olderThan);
        if (!limit) return report("use this time", {}, limit.error());
        olderThan = *limit;
    }
    return forEachUrl(session, options.urls, "delete",
                      [&](const Address& address) { return remove(session, address, olderThan); });
}

}  // namespace

void addRm(CLI::App& program, Invocation& invocation) {
    auto options = std::make_shared<RmOptions>();
    CLI::App* command = program.add_subcommand("rm", "Delete members");
    command->add_option("URL", options->urls, "Members; collections are for rmcol")
        ->type_name("")
        ->required();
    command
        ->add_option("--older-than", options->olderThan,
                     "Only those that were created by TIME, on a server that keeps such dates")
        ->type_name("TIME");
    command->footer(std::string(TIME_HELP) +
                    "\nExamples:\n"
                    "  quillon rm https://example.org/dav/old.txt\n"
                    "  quillon rm --older-than 7d https://example.org/dav/draft.txt\n");
    command->callback([options, &invocation] {
        invocation.run = [options](Session& session) { return run(session, *options); };
    });
}

}  // namespace quillon::cli
