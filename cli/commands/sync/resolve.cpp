// quillon resolve: settles conflicts of quillon sync.
#include "sync/resolve.hpp"
#include "cli/terminal/print.hpp"

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "cli/commands/change/work_copy.hpp"
#include "cli/commands/command.hpp"
#include "cli/commands/sync/pairs.hpp"
#include "cli/terminal/foreground.hpp"
#include "cli/terminal/report.hpp"
#include "cli/terminal/terminal.hpp"
#include "client/outcome.hpp"
#include "platform/files/content.hpp"
#include "sync/pair_limits.hpp"

namespace quillon::cli {
namespace {

namespace fs = std::filesystem;

constexpr size_t mostTextBytes = size_t{64} << 20;

struct ResolveChoice {
    std::vector<std::string> files;
    std::string start;
    bool mine = false, theirs = false, both = false, merge = false, markers = false;

    int count() const { return int(mine) + int(theirs) + int(both) + int(merge); }
};

Result<std::string> readText(const fs::path& file) {
    return caught([&]() -> Result<std::string> {
        return vxhost::readWhole(vxhost::openForReading(file), file, mostTextBytes);
    });
}

constexpr int notThere = 127;  // the code of a program that is not installed

// Into a copy of the file here: by git, else by diff3. Gives in how many places both changed the
// same lines, at least; more than 127: it failed.
int mergeInto(const WorkCopy& copy, const sync::Resolver::MergeInput& input) {
    const std::string mine = input.mine.string(), common = input.common.string(),
                      theirs = input.theirs.string(), merged = copy.file().string();
    const int code = runForeground({"git", "merge-file", "-q", "-L", "mine", "-L", "both had", "-L",
                                    "theirs", merged, common, theirs},
                                   copy.descriptor(), {});
    if (code != notThere) return code;
    const std::vector<std::string> byDiff3{
        "sh",   "-c",  "exec diff3 -m -L mine -L 'both had' -L theirs \"$1\" \"$2\" \"$3\" >\"$4\"",
        "sh",   mine,  common,
        theirs, merged};
    const int other = runForeground(byDiff3, copy.descriptor(), {});
    return other == 2 ? 255 : other;
}

Result<std::string> mergeTexts(const sync::Resolver::MergeInput& input, bool leavesMarkers) {
    const Result<WorkCopy> copy = WorkCopy::make(input.mine, input.mine.filename().string());
    if (!copy) return copy.error();
    const int code = mergeInto(*copy, input);
    if (code == notThere) {
        return localError(Kind::local,
                          "Merging needs git or diff3, and neither is installed. --both keeps "
                          "both.");
    }
    if (code > notThere) return localError(Kind::local, "The texts could not be merged.");
    if (code > 0 && !leavesMarkers) {
        return localError(Kind::refused,
                          "Both changed the same lines. --merge --markers leaves them marked in "
                          "the file; --both keeps both.");
    }
    return readText(copy->file());
}

Result<std::string_view> settle(sync::Resolver& resolver, const sync::OpenConflict& conflict,
                                const ResolveChoice& choice) {
    Result<void> done;
    std::string_view what = "the next quillon sync stores yours";
    if (choice.mine) {
        done = resolver.takeMine(conflict);
    } else if (choice.theirs) {
        done = resolver.takeTheirs(conflict);
        what = "it is theirs now, and yours is kept for quillon undo";
    } else if (choice.both) {
        done = resolver.takeBoth(conflict);
        what = "the next quillon sync stores both";
    } else {
        const Result<sync::Resolver::MergeInput> input = resolver.mergeInput(conflict);
        if (!input) return input.error();
        const Result<std::string> text = mergeTexts(*input, choice.markers);
        if (!text) return text.error();
        done = resolver.takeMerged(conflict, *text);
        what = "merged; the next quillon sync stores it";
    }
    if (!done) return std::move(done).error();
    return what;
}

int resolveOne(const std::string& file, const ResolveChoice& choice) {
    const fs::path parent = fs::absolute(file).parent_path();
    Result<sync::Pair> pair = findPair(parent.string());
    if (!pair) return report("resolve", file, pair.error());
    const std::optional<std::string> path = pair->pathOf(file);
    if (!path) {
        return report("resolve", file, localError(Kind::usage, "It is not in the paired folder."));
    }
    const Result<sync::StoreLimits> limits = sync::limitsOf(pair->state());
    if (!limits) return report("resolve", file, limits.error());
    Result<sync::Resolver> resolver = sync::Resolver::open(*pair, *limits);
    if (!resolver) return report("resolve", file, resolver.error());
    const Result<sync::OpenConflict> conflict = resolver->find(*path);
    if (!conflict) return report("resolve", file, conflict.error());
    const Result<std::string_view> settled = settle(*resolver, *conflict, choice);
    if (!settled) return report("resolve", file, settled.error());
    printOut("{}: {}\n", forOutput(file), *settled);
    return exitDone;
}

int runResolve(const ResolveChoice& choice) {
    if (choice.count() != 1) {
        complain("say one of --mine, --theirs, --both and --merge");
        return exitUsage;
    }
    int code = exitDone;
    for (const std::string& file : choice.files) {
        const int its = resolveOne(folderFrom(choice.start, file), choice);
        if (code == exitDone) code = its;
    }
    return code;
}

}  // namespace

void addResolve(CommandDefinition program, Invocation& invocation) {
    auto choice = std::make_shared<ResolveChoice>();
    const CommandDefinition command =
        program.addCommand("resolve", "Settle conflicts of quillon sync");
    command.addOption("FILE", choice->files, "Files in conflict").typeName("").required();
    addStartOption(command, choice->start);
    command.addFlag("--mine", choice->mine, "The file here goes over theirs");
    command.addFlag("--theirs", choice->theirs, "Theirs takes its place; yours is kept for undo");
    command.addFlag("--both", choice->both, "Both stay, theirs under the name that it has here");
    command.addFlag("--merge", choice->merge,
                    "Merge the texts, with the version that both sides had");
    command.addFlag("--markers", choice->markers,
                    "Leave marks where both changed the same lines, with --merge");
    command.setFooter(
        "Nothing is asked of the server: the next quillon sync does the rest, unless they changed\n"
        "it once more, which is a conflict again. Merging needs git or diff3.\n\n"
        "Examples:\n"
        "  quillon resolve --mine q3.csv\n"
        "  quillon resolve --merge notes.txt && quillon sync\n");
    whenGiven(command, invocation, [choice](Session&) { return runResolve(*choice); });
}

}  // namespace quillon::cli
