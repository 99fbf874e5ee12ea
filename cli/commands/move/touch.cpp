// quillon touch: a new empty member, or another date.
#include <fmt/format.h>

#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "cli/commands/command.hpp"
#include "cli/commands/move/telling.hpp"
#include "cli/commands/what_is_there.hpp"
#include "cli/session/confirm.hpp"
#include "cli/session/servers.hpp"
#include "cli/terminal/report.hpp"
#include "client/remote/holder.hpp"
#include "client/remote/touch.hpp"

namespace quillon::cli {
namespace {

struct TouchOptions {
    std::vector<std::string> urls;
    std::optional<Time> date;
    bool quiet = false;
};

Result<void> touchOne(Session& session, Servers& servers, const Address& address,
                      const std::optional<Time>& date) {
    if (!address.namesMember()) {
        return localError(Kind::usage,
                          "This is a collection, whose date is the server's. Name a member.");
    }
    const Result<Touched> touched = servers.with(address, [&](Remote& remote) -> Result<Touched> {
        PutFactsOnce facts(remote, address.parent().url());
        Result<Touched> its = remote.run(touch(remote, address.url(), date, facts));
        if (its) return its;
        return remote.run(withHolder(remote, {address.url()}, std::move(its).error()));
    });
    if (!touched) {
        const Result<void> failed = asNotFound(Result<void>(touched.error()), {404, 409});
        return explainNoPlace(session, address, failed.error());
    }
    switch (*touched) {
        case Touched::made:
            confirm(session, "made", address.name());
            break;
        case Touched::dated:
            confirm(session, "dated", address.name());
            break;
        case Touched::keepsNoDates:
            return localError(Kind::refused,
                              "This server keeps no dates of files: it has that of its storing.");
        case Touched::datesByContent:
            return localError(Kind::refused,
                              "This server takes a date only with a content, so that it was left "
                              "alone. put -r gives each file its date.");
    }
    return {};
}

int runTouch(Session& session, TouchOptions& options) {
    session.progress().setSilent(options.quiet);
    Servers& servers = session.servers();
    return forEachUrl(session, options.urls, "touch", [&](const Address& address) {
        return touchOne(session, servers, address, options.date);
    });
}

}  // namespace

void addTouch(CommandDefinition program, Invocation& invocation) {
    auto options = std::make_shared<TouchOptions>();
    const CommandDefinition command =
        program.addCommand("touch", "Make empty members, or give those that are there a date");
    addUrls(command, options->urls, "Members");
    addTimeOption(command, "-d,--date", options->date, "The date that they get; else now");
    addQuietOption(command, options->quiet);
    command.setFooter(
        "A member that is not there is made, empty, and nothing is overwritten. One that is there\n"
        "keeps its content, and gets the date where the server keeps dates of files; where it\n"
        "keeps none, that is said, and the exit code is 1. See quillon doctor.\n\n" +
        std::string(timeHelp) +
        "\nExamples:\n"
        "  quillon touch https://example.org/dav/new.txt\n"
        "  quillon touch -d 2026-11-24 https://example.org/dav/old.txt\n");
    whenGiven(command, invocation,
              [options](Session& session) { return runTouch(session, *options); });
}

}  // namespace quillon::cli
