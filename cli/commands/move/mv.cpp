// quillon mv: a member under another name, or at another place.
#include <memory>

#include "cli/commands/matching.hpp"
#include "cli/commands/move/transfer.hpp"
#include "cli/session/confirm.hpp"
#include "cli/terminal/report.hpp"

namespace quillon::cli {
namespace {

Result<void> rename(Session& session, const Address& address, const std::string& newName) {
    if (!address.namesMember()) {
        return localError(Kind::usage, "This is the server's root, which has no name.");
    }
    const auto member = session.member(address);
    if (!member) return member.error();
    Result<void> renamed = (*member)->rename(newName);
    if (!renamed) return renamed;
    // A lock stays with the old name (RFC 4918, 7.6).
    session.forgetLocked(address);
    return {};
}

int rename(Session& session, std::string& url, const std::string& newName) {
    const Result<Address> address = parseUrl(session, url);
    if (!address) return exitCode(address.error().kind);
    const Result<void> renamed = rename(session, address->asMember(), newName);
    if (!renamed) return report("rename", address->url(), renamed.error());
    confirm(session, "renamed " + address->asMember().name() + " to", newName);
    return exitDone;
}

// A new name is told from a place by the slash that it has not.
int runMv(Session& session, TransferOptions& options) {
    std::vector<std::string>& words = options.operands;
    const bool isPlace = words.back().find('/') != std::string::npos;
    const bool several = words.size() > 2 || !options.pattern.empty();
    if (several && !words.back().ends_with('/')) {
        complain("several go into a collection: end its URL with a slash.");
        return exitUsage;
    }
    const Telling& telling = options.telling;
    const bool isPlain = !options.force && !telling.dryRun && !telling.json;
    if (words.size() != 2 || isPlace) return transfer(session, Deed::move, options);
    session.progress().setSilent(telling.quiet);
    if (isPlain) return rename(session, words[0], words[1]);
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
                   "name's; or, since it has a slash, where it goes: a collection that is there, "
                   "or its own new URL")
        .typeName("")
        .required();
    command.addFlag("--force", options->force, "Replace members that are there");
    addMatchOption(command, options->pattern, "move");
    addTellingOptions(command, options->telling);
    command.setFooter(
        "A name that is taken is left alone, and nothing is renamed.\n\n"
        "What has a slash is a place: a URL, work:/, or in a shell ../other/. Several go into a\n"
        "collection, whose URL ends in a slash. A collection moves with all that is in it.\n\n"
        "From one server to another each member is copied, fetched again and compared; then it\n"
        "is removed where it was, unless somebody changed it meanwhile. Of a collection nothing\n"
        "is removed before all of it has been copied.\n\n"
        "Examples:\n"
        "  quillon mv https://example.org/dav/draft.txt \"Report 100%.txt\"\n"
        "  quillon mv https://example.org/dav/2025/ https://example.org/dav/archive/\n"
        "  quillon mv --match '*.bak' https://example.org/dav/ https://example.org/dav/old/\n");
    whenGiven(command, invocation,
              [options](Session& session) { return runMv(session, *options); });
}

}  // namespace quillon::cli
