// quillon get: members into local files.
#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "cli/commands/command.hpp"
#include "cli/commands/content_output.hpp"
#include "cli/commands/matching.hpp"
#include "cli/commands/move/get_members.hpp"
#include "cli/commands/move/trees.hpp"
#include "cli/session/jobs.hpp"
#include "cli/terminal/report.hpp"

namespace quillon::cli {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view standardOutput = "-";
// Resolved, they name the file behind it, which a rename would replace.
constexpr std::string_view standardOutputPaths[] = {"/dev/stdout", "/dev/fd/1", "/proc/self/fd/1"};

// "-" among the URLs is short for "-o -".
void takeOutput(GetOptions& options) {
    const auto removed = std::erase(options.urls, standardOutput);
    const bool byPath = std::ranges::count(standardOutputPaths, options.file) > 0;
    if (byPath || (removed > 0 && options.file.empty())) options.file = standardOutput;
}

// Of two operands the last may be a place here, as cp has it, where it can be nothing else.
Result<void> takePlace(Session& session, GetOptions& options) {
    const bool isTaken = !options.file.empty() || !options.directory.empty();
    if (session.base || options.urls.size() != 2 || isTaken) return {};
    const std::string typed = options.urls.back();
    const size_t colon = typed.find(':');
    const bool isRemote = typed.find("://") != typed.npos || session.sites().knows(typed) ||
                          (colon != typed.npos && typed.find('/') > colon);
    if (isRemote || typed == standardOutput) return {};
    const std::string shown = withoutCredentials(typed);
    const fs::path path = typed;
    std::error_code none;
    const bool isFolder = fs::is_directory(path, none);
    if (!isFolder && session.sites().knows(typed + ":")) {
        return localError(Kind::usage,
                          fmt::format("{0} may be the site, whose URLs begin with {0}:, or a file "
                                      "here, which is ./{0} then.",
                                      shown));
    }
    const bool wantsFolder =
        options.tree.isTree || !options.pattern.empty() || typed.ends_with('/');
    if (!isFolder && wantsFolder) {
        return localError(Kind::usage, fmt::format("There is no folder {} here.", shown));
    }
    if (!isFolder && path.has_parent_path() && !fs::is_directory(path.parent_path(), none)) {
        return localError(Kind::usage, fmt::format("{} is neither a URL, which begins with "
                                                   "https:// or http://, nor a file in a folder "
                                                   "that is here.",
                                                   shown));
    }
    (isFolder ? options.directory : options.file) = typed;
    options.urls.pop_back();
    return {};
}

// What the URLs stand for; code is that of the first that stands for nothing.
std::vector<Wanted> wantedMembers(Session& session, GetOptions& options, int& code) {
    std::vector<Wanted> members;
    const auto add = [&](const Address& address) -> Result<void> {
        if (options.pattern.empty()) {
            members.push_back({address, {}});
            return {};
        }
        const auto found = matchingMembers(session, address, options.pattern, Collections::left);
        if (!found) return found.error();
        for (const MatchedMember& member : *found) {
            members.push_back({member.address, member.size});
        }
        return {};
    };
    code = forEachUrl(session, options.urls, "fetch members of", add);
    return members;
}

int writeAll(Session& session, const std::vector<Wanted>& members) {
    std::vector<Address> addresses;
    addresses.reserve(members.size());
    for (const Wanted& member : members) addresses.push_back(member.address);
    return writeContents(session, addresses);
}

int runGet(Session& session, GetOptions& options) {
    session.progress().setSilent(options.tree.telling.quiet);
    if (wantsMissingTree(options.tree)) return exitUsage;
    if (const Result<void> taken = takePlace(session, options); !taken) {
        return report("fetch", {}, taken.error());
    }
    takeOutput(options);
    if (options.urls.empty() && session.base && !options.pattern.empty()) {
        options.urls.emplace_back();  // the shell's own collection
    }
    if (options.urls.empty()) {
        complain("get needs a URL. See quillon get --help.");
        return exitUsage;
    }
    if (options.tree.isTree && !options.file.empty()) {
        complain("-o names one file, and -r brings trees. Use -O to fetch into a directory.");
        return exitUsage;
    }
    if (options.tree.isTree) {
        options.tree.force = options.force;
        options.tree.forgets = options.noMemory;
        return getTrees(session, options.urls, options.directory, options.tree);
    }
    int code = exitDone;
    const std::vector<Wanted> members = wantedMembers(session, options, code);
    if (members.empty() || code == exitInterrupted) return code;
    if (members.size() > 1 && !options.file.empty() && options.file != standardOutput) {
        complain("-o names one file for several members. Use -O to fetch into a directory.");
        return exitUsage;
    }
    const int fetched = options.file == standardOutput ? writeAll(session, members)
                                                       : getMembers(session, members, options);
    return code == exitDone || fetched == exitInterrupted ? fetched : code;
}

}  // namespace

void addGet(CommandDefinition program, Invocation& invocation) {
    auto options = std::make_shared<GetOptions>();
    const CommandDefinition command = program.addCommand("get", "Fetch members into local files");
    // In a shell --match has a collection without one; run() tells when it is missing.
    addUrls(command, options->urls,
            "Members; then, of a single URL, perhaps a local file or folder, or - for the standard "
            "output")
        .required(!invocation.inShell);
    const auto file = command
                          .addOption("-o,--output", options->file,
                                     "Name of the local file; - is the standard output")
                          .typeName("FILE")
                          .notEmpty();
    command.addOption("-O,--directory", options->directory, "Where the local files go")
        .typeName("DIRECTORY")
        .existingDirectory()
        .excludes(file);
    addMatchOption(command, options->pattern, "fetch");
    command.addFlag("--force", options->force,
                    "Replace a local file that was changed since it came from there");
    command.addFlag("--no-memory", options->noMemory,
                    "Neither note where a file came from, nor look such notes up");
    command.addFlag("--no-resume", options->startsOver,
                    "Begin anew, and keep nothing of what breaks off");
    addJobsOption(command, options->jobs, "as many as it answers fast");
    addTreeOptions(command, options->tree);
    command.setFooter(
        "A local file appears when all of it has come, with the server's date; one that is\n"
        "replaced stays whole until then, and keeps its permissions. Under the member's own name\n"
        "only a regular file is replaced, and no symbolic link of somebody else's followed; what\n"
        "-o names is written to as it is. Where the server tells neither the length nor the size\n"
        "of a member, a warning says that a part may have come.\n\n"
        "What goes to the standard output goes there as it comes, and nothing is kept. When it\n"
        "breaks off, the reader has a part of it, and the exit code is 7.\n\n"
        "Where a file came from is noted in its extended attributes (user.quillon.origin) and in\n"
        "$XDG_STATE_HOME/quillon. When it was changed since, it is kept, and the exit code is "
        "6.\n\n"
        "When a transfer of more than 8 MiB breaks off, what came stays beside its destination in\n"
        "a hidden file, and the same command goes on behind it, within a week and as long as the\n"
        "member is the same.\n\n"
        "-r fetches collections into folders of their names, of the root of a server what it "
        "holds.\n"
        "Only what differs moves; a file that was changed here since it was fetched is kept (6), "
        "and\n"
        "the rest goes on. The same command goes on after an interrupt.\n\n"
        "A second operand that is no URL is where the first one goes: a folder that is here, or "
        "the\n"
        "name of the file. In a shell, where it would be a member, -o and -O say that.\n\n"
        "In a shell, --match without a URL means the collection that you are in.\n\n"
        "Examples:\n"
        "  quillon get https://example.org/dav/report.txt\n"
        "  quillon get https://example.org/dav/report.txt copy.txt\n"
        "  quillon get -O /tmp https://example.org/dav/a.txt https://example.org/dav/b.txt\n"
        "  quillon get --match '*.csv' https://example.org/dav/reports/\n"
        "  quillon get -r -x '*.bak' -O ~/Documents https://example.org/dav/plans/\n"
        "  quillon get https://example.org/dav/data.csv - | sort\n");
    whenGiven(command, invocation,
              [options](Session& session) { return runGet(session, *options); });
}

}  // namespace quillon::cli
