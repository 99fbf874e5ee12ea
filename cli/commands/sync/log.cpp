// quillon log: what the runs of a pair did.
#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <string>

#include "cli/commands/command.hpp"
#include "cli/commands/sync/pairs.hpp"
#include "cli/terminal/format.hpp"
#include "cli/terminal/json.hpp"
#include "cli/terminal/print.hpp"
#include "cli/terminal/report.hpp"
#include "cli/terminal/terminal.hpp"

namespace quillon::cli {
namespace {

struct LogChoice {
    std::string start, folder;
    bool json = false;
};

void printDeed(const sync::Deed& deed, bool undoes, bool json) {
    const std::string_view word = undoes ? wordOfGivenBack(deed.act) : wordOf(deed.act, false);
    const std::string path = deed.isFolder ? deed.path + '/' : deed.path;
    if (json) {
        JsonObject object;
        object.addInteger("run", deed.run);
        object.addText("when", rfc3339(deed.when));
        object.addText("event", std::string(word));
        object.addText("path", path);
        if (!deed.from.empty()) object.addText("from", deed.from);
        object.addFlag("certain", deed.isCertain);
        printOut("{}\n", object.text());
        return;
    }
    const bool replaced = !deed.oldHash.empty() && !deed.newHash.empty();
    printOut("{:>4}  {}  {}{} {}{}\n", deed.run, localDate(deed.when),
             deed.isCertain ? "" : "perhaps ", word, forOutput(path),
             !deed.from.empty() ? fmt::format(" (from {})", forOutput(deed.from))
             : replaced         ? " (over another version)"
                                : "");
}

int runLog(const LogChoice& choice) {
    const std::string folder = folderFrom(choice.start, choice.folder);
    const Result<sync::Pair> pair = findPair(folder, sync::Purpose::look);
    if (!pair) return report("look at", folder, pair.error());
    const Result<std::vector<sync::Deed>> deeds = pair->state().deeds(0);
    if (!deeds) return report("look at", folder, deeds.error());
    const Result<std::vector<int64_t>> undoing = pair->state().undoingRuns();
    if (!undoing) return report("look at", folder, undoing.error());
    for (const sync::Deed& each : *deeds) {
        printDeed(each, std::ranges::find(*undoing, each.run) != undoing->end(), choice.json);
    }
    return exitDone;
}

}  // namespace

void addLog(CommandDefinition program, Invocation& invocation) {
    auto choice = std::make_shared<LogChoice>();
    const CommandDefinition command =
        program.addCommand("log", "Tell what quillon sync did, run by run");
    addFolderWord(command, choice->folder);
    addStartOption(command, choice->start);
    command.addFlag("--json", choice->json, "An object a line, for other programs");
    command.setFooter(
        "A line a file: the run's number, when, what was done. The last run is the last. quillon\n"
        "undo NUMBER gives back what a run replaced or removed.\n\n"
        "Examples:\n"
        "  quillon log\n"
        "  quillon log -C ~/Plans\n");
    whenGiven(command, invocation, [choice](Session&) { return runLog(*choice); });
}

}  // namespace quillon::cli
