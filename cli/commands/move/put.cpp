// quillon put: local files into members.
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "cli/commands/change/named_lock.hpp"
#include "cli/commands/command.hpp"
#include "cli/commands/move/put_files.hpp"
#include "cli/commands/move/trees.hpp"
#include "cli/parser/options.hpp"
#include "cli/session/jobs.hpp"
#include "cli/terminal/report.hpp"

namespace quillon::cli {
namespace {

int runPut(Session& session, PutOptions& options) {
    session.progress().setSilent(options.tree.telling.quiet);
    if (wantsMissingTree(options.tree)) return exitUsage;
    std::vector<std::string> files(options.operands);
    std::string typed;  // in a shell, a single file goes into its collection
    if (files.size() > 1 || !session.base) {
        typed = std::move(files.back());
        files.pop_back();
        wipe(options.operands.back());
    }
    if (files.empty()) {
        complain("put needs a FILE and a URL. See quillon put --help.");
        return exitUsage;
    }
    const Result<Address> url = parseUrl(session, typed);
    if (!url) return exitCode(url.error().kind);
    if (!options.token.empty() && (options.tree.isTree || files.size() > 1)) {
        complain("--token is the lock of one member: put a single FILE there.");
        return exitUsage;
    }
    if (options.tree.isTree) {
        options.tree.force = options.force;
        options.tree.forgets = options.noMemory;
        return putTrees(session, files, *url, options.tree);
    }
    if (options.stream) {
        if (files.size() == 1 && files.front() == standardInput) {
            return putStream(session, *url, options);
        }
        complain("--stream is for the standard input alone: quillon put --stream - URL");
        return exitUsage;
    }
    if (files.size() > 1 && url->namesMember()) {
        complain("several files go into a collection: end its URL with a slash.");
        return exitUsage;
    }
    return putFiles(session, files, *url, options);
}

}  // namespace

void addPut(CommandDefinition program, Invocation& invocation) {
    auto options = std::make_shared<PutOptions>();
    const CommandDefinition command = program.addCommand("put", "Store local files on the server");
    command
        .addOption("FILE... URL", options->operands,
                   "Local files, - is the standard input; then a collection with its final "
                   "slash, or the member that a single FILE becomes")
        .typeName("")
        .required();
    const OptionDefinition since =
        addTimeOption(command, "--if-unchanged-since", options->unchangedSince,
                      "Replace only what was last changed by TIME");
    command.addFlag("--force", options->force, "Write without a lock, whatever is there")
        .excludes(since);
    command.addFlag("--no-memory", options->noMemory,
                    "Neither note what was stored where, nor look such notes up");
    command.addFlag("--stream", options->stream,
                    "Send the standard input as it comes, and keep nothing of it");
    addTokenOption(command, options->token);
    addJobsOption(
        command, options->jobs,
        "of 16 files or 16 MiB as many as it answers fast, of fewer 1, since some servers "
        "confuse locks that are taken at the same time, or with --force " +
            std::to_string(defaultJobs) + ",");
    addTreeOptions(command, options->tree);
    addFollowOption(command, options->tree);
    command.setFooter(
        "A member that exists is replaced: under a lock, so that nobody else writes at the same\n"
        "time, or where the server has no locks unless it changes while this runs. When FILE came\n"
        "from it, by get or an earlier put, and somebody stored another version since, nothing is\n"
        "overwritten, and the exit code is 6. Of another FILE it is not asked what was there: use\n"
        "edit, or --if-unchanged-since, where that matters. A new member is made only if nobody\n"
        "else makes it meanwhile.\n\n"
        "The standard input is kept on disk until it is stored. With --stream it is sent as it\n"
        "comes, after a request that logs in, and so but once: what breaks off is not repeated,\n"
        "the member stays as it was, and the exit code is 7.\n\n"
        "-r stores folders under their names in the collection. Only what differs moves; what "
        "somebody\n"
        "changed on the server since is kept (6), and the rest goes on.\n\n" +
        std::string(ownLockHelp) + "\n" + std::string(timeHelp) +
        "\nExamples:\n"
        "  quillon put report.txt https://example.org/dav/\n"
        "  quillon put a.txt b.txt https://example.org/dav/drafts/\n"
        "  quillon put -r --delete plans https://example.org/dav/\n"
        "  date | quillon put - https://example.org/dav/now.txt\n"
        "  tar cz src | quillon put --stream - https://example.org/dav/src.tar.gz\n"
        "  quillon put --if-unchanged-since 2026-11-24T20:32:05Z q3.csv "
        "https://example.org/dav/q3.csv\n");
    whenGiven(command, invocation,
              [options](Session& session) { return runPut(session, *options); });
}

}  // namespace quillon::cli
