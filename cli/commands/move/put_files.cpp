#include "cli/commands/move/put_files.hpp"

#include <filesystem>
#include <optional>
#include <set>
#include <utility>

#include "cli/commands/what_is_there.hpp"
#include "cli/session/confirm.hpp"
#include "cli/session/file_notes.hpp"
#include "cli/session/jobs.hpp"
#include "cli/session/remote_access.hpp"
#include "cli/terminal/report.hpp"
#include "client/memory/remembered_copy.hpp"
#include "client/tree/put_several.hpp"

namespace quillon::cli {
namespace {

namespace fs = std::filesystem;

// The member that a file becomes: one of its name in a collection, or the one that is named.
Result<Address> destinationOf(const std::string& file, const Address& url) {
    std::error_code none;
    if (file != standardInput && fs::is_directory(file, none)) {
        return localError(Kind::usage,
                          "This is a directory. Use -r to store it with all that is in it.");
    }
    if (url.namesMember()) return url;
    if (file == standardInput) {
        return localError(Kind::usage, "Name the member that the standard input becomes.");
    }
    return url.member(fs::path(file).filename().string());
}

// Of so many, or of so much, it is worth finding out what the server obeys.
constexpr size_t manyFiles = 16;
constexpr uint64_t muchContent = uint64_t{16} << 20;  // bytes
// By bare requests, many at a time. What is no regular file goes as a single one does.
class SeveralPuts {
public:
    SeveralPuts(Session& session, const std::vector<std::string>& files, const Address& collection,
                const std::vector<Result<Address>>& members, const PutOptions& options)
        : session_(session),
          files_(files),
          collection_(collection),
          members_(members),
          options_(options),
          notes_(openNotes(session)),
          memory_(options.noMemory ? nullptr : &notes_),
          ends_(files.size(), session) {
        for (size_t n = 0; n < files_.size(); ++n) {
            const auto here = lookAtFile(files_[n]);
            if (!members_[n] || !here) continue;
            numbers_.push_back(n);
            regular_.push_back({files_[n], members_[n]->url()});
            bytes_ += here->size;
            isAlone_ = isAlone_ && places_.insert(members_[n]->url()).second;
        }
    }

    bool isWorthIt() const {
        const bool isMuch = numbers_.size() >= manyFiles || bytes_ >= muchContent;
        return isAlone_ && isMuch && numbers_.size() > 1 && !session_.hasLockedMembers();
    }

    int run() {
        session_.progress().startAll({});
        const Result<void> outcome = putRegular();
        // Where nobody may look, one may still store.
        const bool isRefused = !outcome && outcome.error().kind == Kind::refused;
        size_t next = 0;
        for (size_t n = 0; n < files_.size() && ends_.code() != exitInterrupted; ++n) {
            const bool isRegular = next < numbers_.size() && numbers_[next] == n;
            if (isRegular) ++next;
            // What asks for a login at its change alone gets the question for it.
            if (!isRegular || isRefused || unauthorized_.contains(n)) {
                endWith(n, [&] { return putSingle(n); });
            } else if (!outcome) {
                end(n, outcome);
            }
        }
        session_.progress().finishAll();
        session_.closeCollectionsBesideFiles();
        return ends_.code();
    }

private:
    Result<void> putRegular() {
        PutSeveralOptions several;
        several.atOnce = jobsFor(session_, collection_, {options_.jobs, mostAtOnce, 1},
                                 {places_.begin(), places_.end()});
        several.force = options_.force;
        several.memory = memory_;
        several.meter = &session_.progress();
        several.mayReplace = [this](const Resource& there) {
            return checkUnchanged(there.modified, options_.unchangedSince);
        };
        several.ended = [this](size_t n, const Result<void>& outcome) {
            if (!outcome && outcome.error().kind == Kind::notAuthorized) {
                unauthorized_.insert(numbers_[n]);
            } else {
                end(numbers_[n], outcome);
            }
        };
        for (const size_t n : numbers_) session_.leftWork().tell(members_[n]->url());
        const std::string url = collection_.url();
        const Result<void> stored =
            session_.withRemote(collection_, [&](Remote& remote) -> Result<void> {
                PutFactsOnce facts(remote, url);
                return remote.run(putSeveral(remote, url, regular_, several, facts));
            });
        const auto missing = asNotFound(stored, {404, 409});
        if (missing) return {};
        return explainNoPlace(session_, *members_[numbers_.front()], missing.error());
    }

    int putSingle(size_t n) {
        if (members_[n]) return put(session_, files_[n], *members_[n], options_, memory_);
        return report("store " + files_[n] + " in", collection_.url(), members_[n].error());
    }

    void end(size_t n, const Result<void>& outcome) {
        endWith(n, [&]() -> int {
            if (!outcome) return report("store", members_[n]->url(), outcome.error());
            confirm(session_, "stored", members_[n]->name());
            return exitDone;
        });
    }

    template <class Ending>
    void endWith(size_t n, Ending&& ending) {
        std::string reports;
        int code = exitDone;
        {
            const ReportsInto redirected(reports);
            code = ending();
        }
        ends_.record(n, code, std::move(reports));
    }

    Session& session_;
    const std::vector<std::string>& files_;
    const Address& collection_;
    const std::vector<Result<Address>>& members_;
    const PutOptions& options_;
    FileMemory notes_;
    FileMemory* const memory_;  // null for none
    OrderedEnds ends_;
    std::vector<size_t> numbers_;  // of regular files
    std::vector<FileForMember> regular_;
    std::set<std::string> places_;
    std::set<size_t> unauthorized_;
    uint64_t bytes_ = 0;
    bool isAlone_ = true;  // no two go to one place, where their order would count
};

}  // namespace

int putFiles(Session& session, const std::vector<std::string>& files, const Address& url,
             const PutOptions& options) {
    std::vector<Result<Address>> members;
    std::vector<std::string> places;
    for (const std::string& file : files) {
        members.push_back(destinationOf(file, url));
        if (members.back()) places.push_back(members.back()->url());
    }
    SeveralPuts several(session, files, url, members, options);
    if (several.isWorthIt()) return several.run();
    // Debian's Apache keeps locks in a Berkeley DB without mutual exclusion: of many that are taken
    // at the same time it refuses some and loses others.
    const Jobs wanted{options.jobs, options.force ? defaultJobs : 1};
    const size_t jobs = jobsFor(session, url, wanted, std::move(places));
    if (jobs > 1) meetServers(session, {url}, {});
    FileMemory memory = openNotes(session);
    FileMemory* const used = options.noMemory ? nullptr : &memory;
    return runTasks(files.size(), jobs, session, [&](size_t i) -> int {
        return members[i] ? put(session, files[i], *members[i], options, used)
                          : report("store " + files[i] + " in", url.url(), members[i].error());
    });
}

}  // namespace quillon::cli
