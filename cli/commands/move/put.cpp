// quillon put: local files into members.
#include <filesystem>
#include <memory>
#include <optional>
#include <set>
#include <vector>

#include "cli/commands/change/change.hpp"
#include "cli/commands/change/named_lock.hpp"
#include "cli/commands/command.hpp"
#include "cli/commands/move/trees.hpp"
#include "cli/commands/what_is_there.hpp"
#include "cli/parser/options.hpp"
#include "cli/session/confirm.hpp"
#include "cli/session/file_notes.hpp"
#include "cli/session/jobs.hpp"
#include "cli/session/remote_access.hpp"
#include "cli/terminal/report.hpp"
#include "client/facts/facts_store.hpp"
#include "client/memory/background_hash.hpp"
#include "client/memory/remembered_copy.hpp"
#include "client/remote/store_stream.hpp"
#include "client/tree/put_several.hpp"

namespace quillon::cli {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view standardInput = "-";

struct PutOptions {
    std::vector<std::string> operands;  // the last is the URL
    std::optional<Time> unchangedSince;
    bool force = false;
    bool noMemory = false;
    bool stream = false;  // the standard input, as it comes
    std::string token;    // of the lock under which a single one goes
    size_t jobs = 0;      // 0: not given
    TreeChoice tree;
};

// modified: of what is there.
Result<void> checkUnchanged(std::optional<Time> modified, std::optional<Time> limit) {
    if (!limit || (modified && *modified <= *limit)) return {};
    return localError(Kind::changedOnServer,
                      modified
                          ? "It was changed on the server later than that; nothing was overwritten."
                          : "This server keeps no date of its last change; nothing was "
                            "overwritten.");
}

// One file on its way to a member.
class Upload {
public:
    // memory: null for none.
    Upload(Session& session, Member& member, const Address& address, const fs::path& source,
           const PutOptions& options, FileMemory* memory)
        : session_(session),
          member_(member),
          address_(address),
          source_(source),
          options_(options),
          memory_(memory) {
        if (memory_ != nullptr) note_ = noteOf(*memory_, source_, address.url());
    }

    int run() {
        if (Result<void> copied = member_.copyFrom(source_); !copied) {
            return reportFailure(copied.error());
        }
        session_.progress().start(address_.name());
        const Result<NamedLock> named = NamedLock::make(session_, address_, options_.token);
        if (!named) return reportFailure(named.error());
        if (options_.force) {
            const Result<bool> own = member_.useOwnLock();
            const Result<void> stored =
                own ? remembering([this] { return member_.store(); }) : Result<void>(own.error());
            session_.progress().finish();
            return stored ? confirmStored() : reportFailure(stored.error());
        }
        Result<Hold> hold = Hold::take(member_);
        if (!hold) return reportFailure(hold.error());
        Result<void> stored = named->requireUsed(member_);
        if (stored) stored = storeHeld(*hold);
        session_.progress().finish();
        return releaseHold(*hold, address_,
                           stored ? confirmStored() : reportFailure(stored.error()));
    }

private:
    int confirmStored() {
        std::error_code unknown;
        const uintmax_t size = fs::file_size(member_.file(), unknown);
        confirm(session_, "stored", address_.name(),
                unknown ? std::nullopt : std::optional<uint64_t>(size));
        return exitDone;
    }
    int reportFailure(const Error& error) { return report("store", address_.url(), error); }

    // A failing release is the caller's.
    Result<void> storeHeld(Hold& hold) {
        if (!hold.isNew()) {
            Result<void> unchanged =
                checkUnchanged(hold.properties().modified, options_.unchangedSince);
            if (!unchanged) return unchanged;
        }
        if (note_ && !hold.isNew()) {
            if (Result<void> may = mayReplaceMember(member_, *note_); !may) return may;
            // A comparison of contents left the member's own in the place of the local copy.
            if (Result<void> copied = member_.copyFrom(source_); !copied) return copied;
        }
        return remembering([&hold] { return hold.store(); });
    }

    // A file that was changed while it was sent is not what is stored there.
    template <class Store>
    Result<void> remembering(Store&& store) {
        const auto before = lookAtFile(source_);
        const bool isNoted = before && memory_ != nullptr;
        const bool isLocked = member_.locked();
        // A tag that the server was seen to give to another version of the same second proves
        // nothing; and without a lock no later answer tells which version is this one. Its content
        // has to, then.
        const auto facts = findFacts(address_.collection());
        const bool tagsRepeat = facts && facts->tagsRepeat;
        std::optional<BackgroundHash> hashing;
        const bool needsHash = !isLocked || tagsRepeat;
        if (isNoted && needsHash && before->size > worthHashing) hashing.emplace(source_);
        Result<void> stored = store();
        if (!stored || !isNoted) return stored;
        std::string tag = member_.latestTag();
        const bool isWorthIt = note_ || before->size > worthLooking;
        if (tag.empty() && isWorthIt && isLocked) tag = askForTag(*before);
        if (tagsRepeat) tag.clear();
        std::string hash = hashing && tag.empty() ? hashing->finish() : std::string();
        const auto after = lookAtFile(source_);
        if (after && isSameVersion(*before, *after)) {
            rememberCopy(*memory_, source_, address_.url(), std::move(tag), {}, std::move(hash));
        }
        return stored;
    }

    // Under the lock, so that it is that of what was stored.
    std::string askForTag(const LocalEntry& sent) {
        const Result<Properties> now = member_.info();
        if (!now) return {};
        if (now->size && *now->size != sent.size) {
            complain(address_.url() +
                     ": the server stores something else than was sent; fetch it to see what");
        }
        return member_.latestTag();
    }

    Session& session_;
    Member& member_;
    const Address& address_;
    const fs::path& source_;
    const PutOptions& options_;
    FileMemory* const memory_;
    std::optional<FileNote> note_;  // that the file came from this member
};

int put(Session& session, const std::string& file, const Address& address,
        const PutOptions& options, FileMemory* memory) {
    const auto member = session.member(address);
    if (!member) {
        return report("store", address.url(), explainNoPlace(session, address, member.error()));
    }
    const bool isInput = file == standardInput;
    const fs::path source = isInput ? "/dev/stdin" : file;
    return Upload(session, **member, address, source, options, isInput ? nullptr : memory).run();
}

int putStream(Session& session, const Address& address, const PutOptions& options) {
    if (!address.namesMember()) {
        return report("store", address.url(),
                      localError(Kind::usage, "Name the member that the standard input becomes."));
    }
    StreamWish wish{.force = options.force};
    wish.mayReplace = [&options](const Resource& there) {
        return checkUnchanged(there.modified, options.unchangedSince);
    };
    if (const auto locked = session.lockedMember(address)) wish.heldToken = locked->lockToken();
    const Result<NamedLock> named = NamedLock::make(session, address, options.token);
    if (!named) return report("store", address.url(), named.error());
    session.leftWork().tell(address.url());
    session.progress().start(address.name());
    std::unique_ptr<vxhost::StreamUpload> input;
    Result<void> stored = session.withRemote(address, [&](Remote& remote) -> Result<void> {
        Result<void> opened = openInput(remote, input);
        if (!opened) return opened;
        return remote.run(storeStream(remote, address.url(), *input, wish));
    });
    session.progress().finish();
    if (const auto missing = asNotFound(stored, {404, 409}); !missing) {
        return report("store", address.url(), explainNoPlace(session, address, missing.error()));
    }
    confirm(session, "stored", address.name());
    return exitDone;
}

// The member that a file becomes: one of its name in a collection, or the one that is named.
Result<Address> destinationOf(const std::string& file, const Address& url) {
    if (url.namesMember()) return url;
    if (file == standardInput) {
        return localError(Kind::usage, "Name the member that the standard input becomes.");
    }
    return url.member(fs::path(file).filename().string());
}

// Of so many, or of so much, it is worth finding out what the server obeys.
constexpr size_t manyFiles = 16;
constexpr uint64_t muchContent = uint64_t{16} << 20;  // bytes
constexpr size_t mostAtOnce = 64;  // files; how many requests they are is for the server to show

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

int putAll(Session& session, const std::vector<std::string>& files, const Address& url,
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
    return putAll(session, files, *url, options);
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
