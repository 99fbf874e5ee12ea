// quillon get: members into local files.
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <vector>

#include "cli/commands/command.hpp"
#include "cli/commands/content_output.hpp"
#include "cli/commands/matching.hpp"
#include "cli/commands/move/trees.hpp"
#include "cli/session/confirm.hpp"
#include "cli/session/file_notes.hpp"
#include "cli/session/jobs.hpp"
#include "cli/session/remote_access.hpp"
#include "cli/terminal/report.hpp"
#include "client/memory/remembered_copy.hpp"
#include "client/part_file.hpp"
#include "client/tree/get_several.hpp"

namespace quillon::cli {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view standardOutput = "-";
constexpr size_t mostAtOnce = 64;  // members; how many requests they are is for the server to show
// Resolved, they name the file behind it, which a rename would replace.
constexpr std::string_view standardOutputPaths[] = {"/dev/stdout", "/dev/fd/1", "/proc/self/fd/1"};

struct GetOptions {
    std::vector<std::string> urls;
    std::string file;       // -o
    std::string directory;  // -O
    std::string pattern;    // of names in the collections that the URLs are then
    size_t jobs = 0;        // 0: not given
    bool force = false;     // a local file that was changed since does not count
    bool noMemory = false;
    bool startsOver = false;  // what an interrupted run had does not count, and nothing stays
    TreeChoice tree;
};

// Where a member goes, by -o or under its own name.
struct Destination {
    fs::path path;
    Naming naming;
};

Result<Destination> destinationOf(const Address& address, const GetOptions& options) {
    if (!options.file.empty()) {
        std::error_code none;
        if (fs::is_directory(options.file, none)) {
            return localError(Kind::usage,
                              options.file + " is a directory. Use -O to fetch into it.");
        }
        return Destination{options.file, Naming::byPerson};
    }
    const std::string name = address.name();
    if (name == "." || name == ".." ||
        name.find_first_of(std::string_view("/\0", 2)) != name.npos) {
        return localError(Kind::usage,
                          "Its name cannot be that of a local file. Choose one with -o.");
    }
    const fs::path directory = options.directory.empty() ? "." : options.directory;
    const Destination destination{directory / name, Naming::byOthers};
    const Result<fs::path> place = resolvePlace(destination.path, destination.naming);
    if (!place) return place.error();
    return destination;
}

// The cache goes where a rename to the destination suffices.
OpenOptions openOptions(const Destination& destination) {
    OpenOptions options{.purpose = Purpose::fetch};
    std::error_code problem;
    if (fs::is_other(destination.path, problem)) return options;
    const fs::path target = fs::canonical(destination.path, problem);
    options.cacheParent = fs::absolute(problem ? destination.path : target).parent_path();
    return options;
}

// Before anything is asked of the server.
Result<void> checkPlace(const fs::path& directory) {
    if (directory.empty() || access(directory.c_str(), W_OK | X_OK) == 0) return {};
    return localError(Kind::local, fmt::format("Cannot write into {}: {}.", directory.string(),
                                               std::strerror(errno)));
}

// A link that leads nowhere is replaced, and what is no regular file is written to as it is: that
// is what the table of operations does.
bool isFileOrFree(const fs::path& place) {
    std::error_code none;
    const fs::file_status found = fs::symlink_status(place, none);
    return fs::is_regular_file(found) || found.type() == fs::file_type::not_found;
}

// By the table of operations. memory: null for none.
Result<void> fetch(Session& session, const Address& address, const GetOptions& options,
                   FileMemory* memory) {
    if (!address.namesMember()) return noMember();
    const auto destination = destinationOf(address, options);
    if (!destination) return destination.error();
    const auto mayPlace = [&]() -> Result<void> {
        if (memory == nullptr || options.force) return {};
        return mayReplaceCopy(*memory, destination->path, address.url());
    };
    if (Result<void> may = mayPlace(); !may) return may;
    OpenOptions opening = openOptions(*destination);
    const bool resumes = !options.startsOver && PartFile(address.url(), destination->path).find();
    if (resumes) opening.purpose = Purpose::change;  // the whole will not be asked for
    if (Result<void> checked = checkPlace(opening.cacheParent); !checked) return checked;
    Result<Member> member = session.openMember(address, opening);
    if (!member) return std::move(member).error();

    session.progress().start(address.name());
    Result<Fetched> fetched =
        member->fetchTo(destination->path, destination->naming, !options.startsOver, mayPlace);
    session.progress().finish();
    if (!fetched) return std::move(fetched).error();
    const bool proven = fetched->endProven;
    if (!proven) complain(unprovenEnd(address.url()));
    if (memory == nullptr) return {};
    // Of what may be cut short as getSeveral notes it.
    rememberCopy(*memory, destination->path, address.url(),
                 proven ? member->latestTag() : std::string(),
                 proven ? fetched->modified : std::nullopt);
    return {};
}

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

struct Wanted {
    Address address;
    std::optional<uint64_t> size;  // in bytes, where a listing told it
};

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

// By bare requests, a single one each where nothing goes wrong, and many at a time.
class Gets {
public:
    Gets(Session& session, const std::vector<Wanted>& members, const GetOptions& options)
        : session_(session),
          members_(members),
          options_(options),
          notes_(openNotes(session)),
          memory_(options.noMemory ? nullptr : &notes_),
          ends_(members.size(), session) {}

    int run() {
        for (size_t n = 0; n < members_.size(); ++n) {
            Result<bool> ready = prepare(n);
            if (!ready) end(n, std::move(ready).error());
        }
        const bool sized = std::ranges::all_of(
            members_, [](const Wanted& member) { return member.size.has_value(); });
        if (members_.size() == 1) {
            session_.progress().start(members_.front().address.name());
        } else {
            session_.progress().startAll({}, servers_.size());
        }
        for (auto& [identity, part] : servers_) {
            if (ends_.code() == exitInterrupted) break;
            if (!sized) forgetSizes(part);
            getFrom(part);
        }
        session_.progress().finishAll();
        return ends_.code();
    }

private:
    // What comes from one server.
    struct Part {
        std::vector<size_t> numbers;
        std::vector<WantedMember> wanted;
    };

    void end(size_t n, const Result<void>& outcome, bool endProven = true) {
        const std::string url = members_[n].address.url();
        std::string reports;
        int code = exitDone;
        {
            const ReportsInto redirected(reports);
            if (!outcome) code = report("fetch", url, outcome.error());
            if (outcome && !endProven) complain(unprovenEnd(url));
            if (outcome) confirm(session_, "fetched", members_[n].address.name());
        }
        ends_.record(n, code, std::move(reports));
    }

    // False: it is done already.
    Result<bool> prepare(size_t n) {
        const Address& address = members_[n].address;
        if (!address.namesMember()) return noMember();
        const Result<Destination> destination = destinationOf(address, options_);
        if (!destination) return destination.error();
        const fs::path folder = openOptions(*destination).cacheParent;
        if (const Result<void> checked = checkPlace(folder); !checked) return checked.error();
        const Result<fs::path> place = resolvePlace(destination->path, destination->naming);
        if (!place) return place.error();
        if (!isFileOrFree(*place)) {
            getSingle(n);
            return false;
        }
        session_.leftWork().tell(address.url());
        if (cleared_.insert(folder).second) session_.leftWork().clearPlace(folder);
        Part& part = servers_[identityOf(address)];
        part.numbers.push_back(n);
        part.wanted.push_back({address.url(), destination->path, *place, members_[n].size});
        return true;
    }

    // By itself, with a question for a password where one is missing.
    void getSingle(size_t n) { end(n, fetch(session_, members_[n].address, options_, memory_)); }

    // Of all or of none, so that what is left can be told.
    static void forgetSizes(Part& part) {
        for (WantedMember& member : part.wanted) member.size.reset();
    }

    void getFrom(const Part& part) {
        std::vector<std::string> places;
        for (const WantedMember& member : part.wanted) places.push_back(member.place);
        const Address& first = members_[part.numbers.front()].address;
        SeveralOptions several;
        several.atOnce = jobsFor(session_, first, {options_.jobs, mostAtOnce, 1}, places);
        several.force = options_.force;
        several.resumes = !options_.startsOver;
        several.memory = memory_;
        several.meter = &session_.progress();
        std::vector<size_t> unauthorized;
        several.ended = [&](size_t n, const Result<void>& outcome, bool endProven) {
            if (!outcome && outcome.error().kind == Kind::notAuthorized) {
                unauthorized.push_back(part.numbers[n]);
            } else {
                end(part.numbers[n], outcome, endProven);
            }
        };
        const Result<void> got = session_.withRemote(first, [&](Remote& remote) -> Result<void> {
            return remote.run(getSeveral(remote, part.wanted, several));
        });
        for (const size_t n : got ? unauthorized : part.numbers) {
            if (ends_.code() == exitInterrupted) return;
            if (got) {
                getSingle(n);
            } else {
                end(n, got);  // none was begun
            }
        }
    }

    Session& session_;
    const std::vector<Wanted>& members_;
    const GetOptions& options_;
    FileMemory notes_;
    FileMemory* const memory_;  // null for none
    OrderedEnds ends_;
    std::map<std::string, Part> servers_;  // by identityOf
    std::set<fs::path> cleared_;
};

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
                                                       : Gets(session, members, options).run();
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
