// quillon check: a folder compared with a tree on a server.
#include <fmt/format.h>

#include <memory>
#include <string_view>
#include <utility>

#include "cli/commands/command.hpp"
#include "cli/commands/filter_options.hpp"
#include "cli/commands/move/telling.hpp"
#include "cli/commands/what_is_there.hpp"
#include "cli/session/file_notes.hpp"
#include "cli/session/remote_access.hpp"
#include "cli/terminal/events.hpp"
#include "cli/terminal/report.hpp"
#include "client/facts/facts_store.hpp"
#include "client/tree/check_tree.hpp"

namespace quillon::cli {
namespace {

struct CheckChoice {
    std::string directory, url;
    bool checksum = false, follow = false, json = false, quiet = false;
    Filter filter;
};

std::string_view wordOf(Checked outcome) {
    switch (outcome) {
        case Checked::same:
            return "the same";
        case Checked::different:
            return "different";
        case Checked::missingHere:
            return "missing here";
        case Checked::missingThere:
            return "missing there";
        case Checked::skipped:
            return "skipped";
        case Checked::unread:
            return "not read";
    }
    return "";
}

// Tells what is found; the code is that of the worst of it.
class CheckTeller {
public:
    CheckTeller(Session& session, const CheckChoice& choice)
        : session_(session), events_(mannerOf(session, choice), session.progress()) {}

    void tell(const CheckEvent& event) {
        if (event.error && event.error->kind == Kind::interrupted) return tellInterrupt();
        if (event.outcome == Checked::same) return events_.count(wordOf(event.outcome));
        events_.tell({wordOf(event.outcome),
                      event.isFolder ? event.path + '/' : event.path,
                      event.url,
                      {},
                      event.error ? event.error->sentences.front() : ""});
        if (event.outcome == Checked::skipped) {
            session_.progress().hide();
            complain(fmt::format("{}: {}", event.path, event.error->sentences.front()));
        } else if (event.outcome == Checked::unread) {
            session_.progress().hide();
            report("read", event.path.empty() ? event.url : event.path, *event.error);
            if (code_ != exitInterrupted) code_ = exitNetwork;
        } else if (code_ == exitDone) {
            code_ = exitChanged;
        }
    }
    int finish(const Result<void>& outcome, const Address& root) {
        session_.progress().finishAll();
        events_.sumUp();
        if (outcome) return code_;
        if (outcome.error().kind == Kind::interrupted) tellInterrupt();
        if (code_ == exitInterrupted) return code_;
        return report("compare with", root.url(), outcome.error());
    }

private:
    static Events::Manner mannerOf(const Session& session, const CheckChoice& choice) {
        if (choice.json) return Events::Manner::json;
        if (choice.quiet) return Events::Manner::quiet;
        return session.options().verbosity > 0 ? Events::Manner::lines : Events::Manner::summary;
    }
    void tellInterrupt() {
        if (code_ == exitInterrupted) return;
        session_.progress().hide();
        complain("interrupted");
        code_ = exitInterrupted;
    }

    Session& session_;
    Events events_;
    int code_ = exitDone;
};

int runCheck(Session& session, CheckChoice& choice) {
    const Result<Address> address = parseUrl(session, choice.url);
    if (!address) return exitCode(address.error().kind);
    const Address root = address->asCollection();
    const Result<LocalFolder> folder = LocalFolder::open(choice.directory);
    if (!folder) return report("compare", choice.directory, folder.error());
    FileMemory memory = openNotes(session);
    CheckTeller teller(session, choice);
    CheckOptions options;
    options.checksum = choice.checksum;
    options.filter = choice.filter;
    options.links = choice.follow ? Links::followed : Links::left;
    options.memory = &memory;
    const auto facts = findFacts(root.url());
    options.datesKept = facts && facts->dates != DatesBy::none;
    options.tell = [&teller](const CheckEvent& event) { teller.tell(event); };
    options.meter = &session.progress();
    session.progress().startAll(root.name());
    const Result<void> outcome = session.withRemote(root, [&](Remote& remote) -> Result<void> {
        return remote.run(checkTree(remote, root.url(), *folder, options));
    });
    if (const auto missing = asNotFound(outcome, {400, 404}); !missing) {
        return teller.finish(explainNotOpened(session, root, missing.error()), root);
    }
    return teller.finish(outcome, root);
}

}  // namespace

void addCheck(CommandDefinition program, Invocation& invocation) {
    auto choice = std::make_shared<CheckChoice>();
    const CommandDefinition command =
        program.addCommand("check", "Compare a local folder with a tree on the server");
    command.addOption("DIRECTORY", choice->directory, "A local folder").typeName("").required();
    addUrl(command, choice->url, "The collection that should hold the same");
    command.addFlag("--checksum", choice->checksum, "Compare contents, not sizes and dates");
    command.addFlag("--follow", choice->follow, "Compare what symbolic links here lead to");
    addFilterOptions(command, choice->filter);
    command.addFlag("--json", choice->json, "An object a difference and line, for other programs");
    addQuietOption(command, choice->quiet);
    command.setFooter(
        "Counts what is the same, different, missing here and missing there; -v tells names.\n"
        "Nothing is changed. Files are compared as get -r and put -r do: by size, by what is "
        "noted\n"
        "of files that were fetched or stored, and by dates; where these prove nothing, a file\n"
        "counts as different.\n\n"
        "The exit code is 0 when all is the same, 6 when something differs, and 7 when something\n"
        "could not be read.\n\n"
        "Examples:\n"
        "  quillon check -v plans https://example.org/dav/plans/\n"
        "  quillon check --checksum -x '*.bak' plans work:plans/\n");
    whenGiven(command, invocation,
              [choice](Session& session) { return runCheck(session, *choice); });
}

}  // namespace quillon::cli
