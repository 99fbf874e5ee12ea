// quillon mkcol: new collections.
#include <memory>
#include <vector>

#include "cli/commands/command.hpp"
#include "cli/commands/move/telling.hpp"
#include "cli/commands/what_is_there.hpp"
#include "cli/session/confirm.hpp"

namespace quillon::cli {
namespace {

struct MkcolOptions {
    std::vector<std::string> urls;
    bool parents = false;
    bool quiet = false;
};

Result<void> make(Session& session, const Address& address) {
    const Result<Extension> extension = session.extension(address);
    if (!extension) return extension.error();
    return session.withLogin(
        address, [&](const Login& login) { return createCollection(*extension, address, login); });
}

bool isThere(Session& session, const Address& address) {
    return static_cast<bool>(session.open(address, {.cache = false}));
}

// From the innermost outwards: most often the parent is there.
Result<void> makeWithParents(Session& session, const Address& address) {
    Result<void> made = make(session, address);
    if (made) return made;
    const Code code = made.error().code;
    if (code == Code::mkcolNotAllowed && isThere(session, address)) return {};
    const Address parent = address.parent();
    if (code != Code::mkcolConflict || parent.url() == address.url()) return made;
    if (Result<void> above = makeWithParents(session, parent); !above) return above;
    return make(session, address);
}

int runMkcol(Session& session, MkcolOptions& options) {
    session.progress().setSilent(options.quiet);
    return forEachUrl(session, options.urls, "create", [&](const Address& typed) {
        const Address address = typed.asCollection();
        Result<void> made =
            options.parents ? makeWithParents(session, address) : make(session, address);
        if (made) {
            confirm(session, "made", address.url());
            return made;
        }
        return Result<void>(explainNotMade(session, address, std::move(made).error()));
    });
}

}  // namespace

void addMkcol(CommandDefinition program, Invocation& invocation) {
    auto options = std::make_shared<MkcolOptions>();
    const CommandDefinition command = program.addCommand("mkcol", "Create collections");
    addUrls(command, options->urls, "Collections, with or without final slash");
    command.addFlag("-p,--parents", options->parents,
                    "Those above, too, where they are missing; one that exists is no failure");
    addQuietOption(command, options->quiet);
    command.setFooter(
        "Examples:\n"
        "  quillon mkcol https://example.org/dav/reports/\n"
        "  quillon mkcol -p https://example.org/dav/2026/11/24/\n");
    whenGiven(command, invocation,
              [options](Session& session) { return runMkcol(session, *options); });
}

}  // namespace quillon::cli
