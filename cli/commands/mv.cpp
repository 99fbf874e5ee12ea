// quillon mv: a member under another name.
#include <memory>

#include "cli/commands/command.hpp"
#include "cli/terminal/report.hpp"

namespace quillon::cli {
namespace {

struct MvOptions {
    std::string url;
    std::string newName;
};

Result<void> rename(Session& session, const Address& address, const std::string& newName) {
    if (!address.namesMember()) {
        return localError(Kind::usage, "This is the server's root, which has no name.");
    }
    if (newName.find('/') != std::string::npos) {
        return localError(Kind::usage,
                          "The new name is a name, not a URL or a path: a member is renamed within "
                          "its collection.");
    }
    const auto member = session.member(address);
    if (!member) return member.error();
    Result<void> renamed = (*member)->rename(newName);
    if (!renamed) return renamed;
    // A lock stays with the old name (RFC 4918, 7.6).
    session.forgetLocked(address);
    return {};
}

int run(Session& session, MvOptions& options) {
    const Result<Address> address = parseUrl(session, options.url);
    if (!address) return exitCode(address.error().kind);
    const Result<void> renamed = rename(session, address->asMember(), options.newName);
    return renamed ? exitDone : report("rename", address->url(), renamed.error());
}

}  // namespace

void addMv(CommandDefinition program, Invocation& invocation) {
    auto options = std::make_shared<MvOptions>();
    const CommandDefinition command =
        program.addCommand("mv", "Rename a member within its collection");
    addUrl(command, options->url, "A member or a collection");
    command.addOption("NEWNAME", options->newName, "As it is read: every character is the name's")
        .typeName("")
        .required();
    command.setFooter(
        "A name that is taken is left alone, and nothing is renamed.\n\n"
        "Examples:\n"
        "  quillon mv https://example.org/dav/draft.txt \"Report 100%.txt\"\n");
    whenGiven(command, invocation, [options](Session& session) { return run(session, *options); });
}

}  // namespace quillon::cli
