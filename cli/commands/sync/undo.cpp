// quillon undo: gives back what a run of sync replaced or removed.
#include "sync/undo.hpp"
#include "cli/terminal/print.hpp"

#include <memory>
#include <string>

#include "cli/commands/command.hpp"
#include "cli/commands/sync/pairs.hpp"
#include "cli/session/remote_access.hpp"
#include "cli/terminal/report.hpp"
#include "cli/terminal/terminal.hpp"
#include "platform/base/ascii.hpp"
#include "sync/pair_limits.hpp"

namespace quillon::cli {
namespace {

struct UndoChoice {
    int64_t run = 0;  // 0: the last
    std::string start;
};

int runUndo(Session& session, const UndoChoice& choice) {
    const std::string folder = folderFrom(choice.start);
    Result<sync::Pair> pair = findPair(folder);
    if (!pair) return report("undo a run of", folder, pair.error());
    const Result<Address> root = collectionOf(*pair, session);
    if (!root) return report("undo a run of", pair->url(), root.error());
    const Result<sync::StoreLimits> limits = sync::limitsOf(pair->state());
    if (!limits) return report("undo a run of", folder, limits.error());
    int code = exitDone;
    sync::SyncOptions options;
    options.limits = *limits;
    options.tell = [&code](const sync::SyncEvent& event) {
        if (!event.error) {
            printOut("{} {}\n", wordOfGivenBack(event.act), forOutput(event.path));
            return;
        }
        const int its = report("give back", event.path, *event.error);
        if (code == exitDone) code = its;
    };
    options.remark = [](const std::string& sentence) { complain(sentence); };
    const Result<sync::SyncEnd> end =
        session.withRemote(*root, [&](Remote& remote) -> Result<sync::SyncEnd> {
            return remote.run(sync::undoRun(remote, *pair, choice.run, options));
        });
    if (!end) return report("undo a run of", pair->folder().string(), end.error());
    return code;
}

}  // namespace

void addUndo(CommandDefinition program, Invocation& invocation) {
    auto choice = std::make_shared<UndoChoice>();
    const CommandDefinition command =
        program.addCommand("undo", "Give back what a run of quillon sync replaced or removed");
    command
        .addOption(
            "NUMBER",
            [choice](const std::string& text) -> Result<void> {
                const auto number = vxhost::parseNumber<int64_t>(text);
                if (!number || *number < 1) {
                    return localError(Kind::usage, "Write the number of a run (quillon log).");
                }
                choice->run = *number;
                return {};
            },
            "Of the run, as quillon log tells it; else the last")
        .typeName("");
    addStartOption(command, choice->start);
    command.setFooter(
        "What was replaced or removed here or there comes back to where it was, and goes to the\n"
        "other side with the next quillon sync. What has changed since stays as it is, which is\n"
        "said, and the exit code is 6 then; so does what is in the way, as a folder where a file "
        "was.\n"
        "What an undo replaces is kept, so that it can be undone.\n\n"
        "Examples:\n"
        "  quillon undo\n"
        "  quillon undo 12 -C ~/Plans\n");
    whenGiven(command, invocation,
              [choice](Session& session) { return runUndo(session, *choice); });
}

}  // namespace quillon::cli
