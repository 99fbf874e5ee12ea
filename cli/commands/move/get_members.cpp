#include "cli/commands/move/get_members.hpp"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <map>
#include <set>
#include <utility>

#include "cli/commands/content_output.hpp"
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

// -o names one file, where no tree goes.
Error wantsTree(Kind kind, const GetOptions& options) {
    Error error = noMember();
    error.kind = kind;
    if (options.file.empty()) {
        error.sentences = {"This is a collection. Use -r to fetch it with all that is in it."};
    }
    return error;
}

// By the table of operations. memory: null for none.
Result<void> fetch(Session& session, const Address& address, const GetOptions& options,
                   FileMemory* memory) {
    if (!address.namesMember()) return wantsTree(Kind::usage, options);
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
            if (!outcome) {
                const bool isTree = outcome.error().code == Code::collection;
                code = report("fetch", url,
                              isTree ? wantsTree(Kind::refused, options_) : outcome.error());
            }
            if (outcome && !endProven) complain(unprovenEnd(url));
            if (outcome) confirm(session_, "fetched", members_[n].address.name());
        }
        ends_.record(n, code, std::move(reports));
    }

    // False: it is done already.
    Result<bool> prepare(size_t n) {
        const Address& address = members_[n].address;
        if (!address.namesMember()) return wantsTree(Kind::usage, options_);
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

    // By itself, where no bare request will do.
    void getSingle(size_t n) { end(n, fetch(session_, members_[n].address, options_, memory_)); }

    // Of all or of none, so that what is left can be told.
    static void forgetSizes(Part& part) {
        for (WantedMember& member : part.wanted) member.size.reset();
    }

    void getFrom(Part& part) {
        std::vector<std::string> places;
        for (const WantedMember& member : part.wanted) places.push_back(member.place);
        const Address& first = members_[part.numbers.front()].address;
        SeveralOptions several;
        several.atOnce = jobsFor(session_, first, {options_.jobs, mostAtOnce, 1}, places);
        several.force = options_.force;
        several.resumes = !options_.startsOver;
        several.memory = memory_;
        several.meter = &session_.progress();
        // Those that were refused wait for another login, where there is one.
        const Result<void> got = session_.withRemote(first, [&](Remote& remote) -> Result<void> {
            Part refused;
            Result<void> outcome;
            several.ended = [&](size_t n, const Result<void>& fetched, bool endProven) {
                if (fetched || fetched.error().kind != Kind::notAuthorized) {
                    return end(part.numbers[n], fetched, endProven);
                }
                outcome = fetched;
                refused.numbers.push_back(part.numbers[n]);
                refused.wanted.push_back(part.wanted[n]);
            };
            Result<void> run = remote.run(getSeveral(remote, part.wanted, several));
            if (!run) return run;
            part = std::move(refused);
            return outcome;
        });
        if (got) return;
        for (const size_t n : part.numbers) {
            if (ends_.code() == exitInterrupted) return;
            end(n, got);
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

}  // namespace

int getMembers(Session& session, const std::vector<Wanted>& members, const GetOptions& options) {
    return Gets(session, members, options).run();
}

}  // namespace quillon::cli
