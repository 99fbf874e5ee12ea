#include "client/tree/put_tree.hpp"

#include <algorithm>
#include <chrono>
#include <map>
#include <utility>

#include "client/remote/backlog.hpp"
#include "client/remote/change.hpp"
#include "client/remote/fetch_hash.hpp"
#include "client/tree/known_file.hpp"
#include "client/tree/put_file.hpp"
#include "client/tree/walk.hpp"
#include "platform/text/url.hpp"

namespace quillon {
namespace {

constexpr size_t mostFoldersAhead = 16;

class Putting {
public:
    Putting(Remote& remote, const LocalFolder& folder, const TreeOptions& options,
            PutFactsOnce& facts)
        : remote_(remote),
          folder_(folder),
          options_(options),
          facts_(facts),
          folders_(remote.loop(), mostFoldersAhead),
          putter_(remote, facts, {options.links, options.memory, options.meter}),
          chosen_(remote.loop(), [this](Chosen chosen) { return putFile(std::move(chosen)); }),
          removals_(remote.loop(), [this](LeftOver each) { return removeBeside(std::move(each)); }),
          newFolders_(remote.loop()) {
        clock_.datesKept = facts.dates() != DatesBy::none;
    }

    Task<Result<void>> run(std::string rootUrl) {
        const Result<std::optional<Resource>> root = co_await look(remote_, rootUrl);
        if (!root) co_return root.error();
        if (*root && !(*root)->isCollection) {
            co_return localError(Kind::refused, "A file is there under its name.");
        }
        Result<void> outcome;
        if (*root) {
            outcome = co_await putExisting(rootUrl);
        } else {
            const std::string rootPath;
            if (options_.dryRun) outcome = co_await findPlace(remote_, rootUrl);
            if (outcome) outcome = co_await makeFolder(rootPath, rootUrl);
            if (outcome) co_await putNew(rootPath, rootUrl);
        }
        co_await newFolders_.finish();
        if (options_.meter) options_.meter->expectNoMore();
        co_await chosen_.finish();
        if (outcome && !remote_.isInterrupted()) {
            if (complete_) {
                co_await removeLeftOver();
            } else if (options_.remove) {
                tell(nothingRemoved());
            }
        }
        co_await removals_.finish();
        if (outcome && remote_.isInterrupted()) outcome = interruption();  // what was left out
        co_return std::move(outcome);
    }

private:
    using File = FileToPut;
    struct Chosen {
        File file;
        Step step;
    };
    struct LeftOver {
        std::string path, url;
        Resource resource;
    };

    void tell(const TreeEvent& event) const { options_.tell(event); }
    void tellFailure(const std::string& path, const std::string& url, const Error& error) const {
        const bool changed = error.kind == Kind::changedOnServer || error.kind == Kind::changedHere;
        tell({changed ? TreeDeed::kept : TreeDeed::failed, path, url, {}, error});
    }
    void tellClash(const std::string& path, const std::string& url, std::string why) const {
        tellFailure(path, url, localError(Kind::refused, std::move(why)));
    }

    // What is no part of a tree is passed over; what could be one, and cannot be read, has failed.
    void tellUnfit(const std::string& path, const std::string& url, Unfit unfit) const {
        if (unfit == Unfit::unfinished) return;
        const bool failed = unfit == Unfit::noUtf8 || unfit == Unfit::unreadable;
        const TreeDeed deed = failed ? TreeDeed::failed : TreeDeed::skipped;
        tell({deed, path, url, {}, localError(Kind::local, std::string(whyUnfit(unfit)))});
    }

    static std::string pathIn(const std::string& parent, const std::string& name) {
        return parent.empty() ? name : parent + '/' + name;
    }

    // Those that can be on the other side.
    Result<std::vector<ScannedEntry>> scan(const std::string& path, const std::string& url) {
        Result<std::vector<ScannedEntry>> found = folder_.scan(path, options_.links);
        if (!found) return found;
        std::erase_if(*found, [&](const ScannedEntry& entry) {
            const std::string its = pathIn(path, entry.name);
            const bool isFolder = entry.entry.kind == LocalKind::folder;
            if (!options_.filter.takes(its, isFolder)) return true;
            if (entry.unfit == Unfit::none) return false;
            tellUnfit(its, url, entry.unfit);
            return true;
        });
        return found;
    }

    Task<Result<void>> makeFolder(std::string path, std::string url) {
        if (!options_.dryRun) {
            Result<void> made = co_await makeCollection(remote_, url);
            // Somebody made it meanwhile: it is there, as it should be.
            const bool isThere = !made && made.error().httpStatus == 405;
            if (!made && !isThere) co_return std::move(made);
        }
        tell({TreeDeed::made, std::move(path), std::move(url), {}, {}, true});
        co_return Result<void>();
    }

    // A folder of which nothing is there.
    Task<> putNew(std::string path, std::string url) {
        const Result<std::vector<ScannedEntry>> found = scan(path, url);
        if (!found) {
            tellFailure(path, url, found.error());
            co_return;
        }
        for (const ScannedEntry& entry : *found) {
            const std::string its = pathIn(path, entry.name);
            std::string itsUrl = url + vxhost::encodeSegment(entry.name);
            if (entry.entry.kind == LocalKind::folder) {
                Gate::Pass pass = co_await folders_.enter();
                newFolders_.spawn(putNewFolder(its, itsUrl + '/', std::move(pass)));
            } else {
                File file{its, std::move(itsUrl), entry.entry, {}, {}};
                co_await chooseFile(std::move(file));
            }
        }
    }

    // The pass is for its own request: what is in it takes others.
    Task<> putNewFolder(std::string path, std::string url, Gate::Pass pass) {
        const Result<void> made = co_await makeFolder(path, url);
        { const Gate::Pass ended = std::move(pass); }
        if (made) {
            co_await putNew(path, url);
        } else {
            tellFailure(path, url, made.error());
        }
    }

    bool isFolderHere(std::string_view path) const {
        const Result<std::optional<LocalEntry>> found = folder_.look(path);
        return found && *found && (*found)->kind == LocalKind::folder;
    }

    // What is on both sides: only those collections are walked that are folders here.
    Task<Result<void>> putExisting(std::string rootUrl) {
        Walk walk(remote_, std::move(rootUrl), {}, [this](std::string_view path) {
            return options_.filter.takes(path, true) && isFolderHere(path);
        });
        Walk::Taker take = [this](WalkedCollection walked) {
            if (walked.members->asked) noteClock(*walked.members->asked);
            return putInto(std::move(walked));
        };
        Walk::FailureTeller fail = [this](const auto& path, const auto& url, const Error& error) {
            tellFailure(path, url, error);
        };
        Result<void> outcome = co_await walk.takeAll(std::move(take), std::move(fail));
        complete_ = complete_ && walk.isComplete();
        co_return std::move(outcome);
    }

    void noteClock(Time serverNow) {
        const auto now = std::chrono::system_clock::now();
        clock_.skewSeconds = std::chrono::duration<double>(serverNow - now).count();
    }

    Task<> putInto(WalkedCollection walked) {
        Result<std::vector<ScannedEntry>> found = scan(walked.path, walked.url);
        if (!found) {
            tellFailure(walked.path, walked.url, found.error());
            complete_ = false;
            co_return;
        }
        std::map<std::string, Resource> there;  // by their names
        for (Resource& resource : walked.members->resources) {
            std::string name = vxhost::decodeSegment(resource.segment);
            there.emplace(std::move(name), std::move(resource));
        }
        for (const ScannedEntry& entry : *found) {
            const std::string path = pathIn(walked.path, entry.name);
            const auto other = there.find(entry.name);
            std::optional<Resource> resource;
            if (other != there.end()) {
                resource = std::move(other->second);
                there.erase(other);
            }
            std::string url =
                walked.url + (resource ? resource->segment : vxhost::encodeSegment(entry.name));
            if (entry.entry.kind == LocalKind::file) {
                File file{path, std::move(url), entry.entry, std::move(resource), {}};
                co_await chooseFile(std::move(file));
            } else if (resource && !resource->isCollection) {
                tellClash(path, url, "A file is there under its name.");
            } else if (!resource) {
                Gate::Pass pass = co_await folders_.enter();
                newFolders_.spawn(putNewFolder(path, url + '/', std::move(pass)));
            }
        }
        for (auto& [name, resource] : there) {
            const std::string path = pathIn(walked.path, name);
            if (!options_.filter.takes(path, resource.isCollection)) continue;
            // What is here and cannot be stored, as what cannot be read, was not removed here.
            const Result<std::optional<LocalEntry>> here = folder_.look(path);
            if (!here || *here) continue;
            std::string url = walked.url + resource.segment;
            leftOver_.push_back({path, std::move(url), std::move(resource)});
        }
    }

    std::optional<FileNote> noteOf(const File& file) const {
        return noteAbout(options_.memory, folder_, file.path, file.url);
    }
    Task<> chooseFile(File file) {
        if (file.there) file.note = noteOf(file);
        std::optional<bool> unchanged;
        const FileNote* note = file.note ? &*file.note : nullptr;
        if (note) {
            unchanged = isUnchanged(*note, file.here) ||
                        hasNotedHash(folder_, file.path, options_.links, *note);
        }
        const Step step =
            chooseUp(file.here, file.there, note, unchanged, clock_, options_.compare);
        if (step == Step::none) {
            tell({TreeDeed::same, file.path, file.url});
        } else if (step == Step::clash) {
            tellClash(file.path, file.url, "A collection is there under its name.");
        } else if (options_.dryRun) {
            tell({TreeDeed::stored, file.path, file.url, file.here.size});
        } else {
            file.expected = ExpectedTransfer(options_.meter, file.here.size);
            Chosen chosen{std::move(file), step};
            co_await chosen_.add(std::move(chosen));
        }
    }

    Task<> putFile(Chosen chosen) {
        File file = std::move(chosen.file);
        // Until here, not until the task is taken away.
        const ExpectedTransfer expected = std::move(file.expected);
        if (chosen.step == Step::compareContent) {
            const Result<bool> mayStore = co_await putter_.compareContent(folder_, file);
            if (!mayStore) tellFailure(file.path, file.url, mayStore.error());
            if (mayStore && !*mayStore) tell({TreeDeed::same, file.path, file.url});
            if (!mayStore || !*mayStore) co_return;
        }
        Result<PutEnd> stored = co_await putter_.put(folder_, file);
        if (!stored) {
            tellFailure(file.path, file.url, stored.error());
            co_return;
        }
        tell({TreeDeed::stored, file.path, file.url, stored->size, std::move(stored->remark)});
        if (stored->mishap) tellFailure(file.path, file.url, *stored->mishap);
    }

    // What is there alone: it may have been removed here.
    Task<> removeLeftOver() {
        const auto known = [this](const LeftOver& each) { return wasOnBothSides(each); };
        const auto unknown =
            leftOver_.size() - static_cast<size_t>(std::ranges::count_if(leftOver_, known));
        removesUnknown_ = options_.remove && unknown > 0 && options_.mayRemoveUnknown &&
                          options_.mayRemoveUnknown(unknown);
        for (const LeftOver& each : leftOver_) {
            if (each.resource.isCollection && options_.remove) {
                std::string url = each.url + '/';
                co_await removeCollection(each.path, std::move(url), 1);
            } else if (mayRemove(each)) {
                co_await removals_.add(each);
            }
        }
    }

    bool mayRemove(const LeftOver& each) const {
        const bool known = removesUnknown_ || wasOnBothSides(each);
        if (!options_.remove || !known) {
            tell({TreeDeed::leftOver, each.path, each.url});
            return false;
        }
        if (options_.dryRun) tell({TreeDeed::removed, each.path, each.url});
        return !options_.dryRun;
    }

    // Of a file that is gone here, and its attributes with it.
    std::optional<FileNote> noteOfGone(const LeftOver& each) const {
        return noteAbout(options_.memory, folder_, each.path, each.url);
    }

    // And has not changed there since, as far as the listing tells.
    bool wasOnBothSides(const LeftOver& each) const {
        const std::optional<FileNote> note = noteOfGone(each);
        return note && compareWithNote(each.resource, *note) != Likeness::other;
    }

    // Where the listing does not prove it, the content does.
    Task<Result<bool>> isProvenUnchanged(const LeftOver& each) {
        const std::optional<FileNote> note = noteOfGone(each);
        if (removesUnknown_) co_return true;
        if (!note) co_return false;
        if (compareWithNote(each.resource, *note) == Likeness::same) co_return true;
        const Result<HashedContent> there =
            co_await fetchHash(remote_, each.url, each.resource.size);
        if (!there) co_return there.error();
        co_return there->hash == note->hash;
    }

    Task<> removeBeside(LeftOver each) { co_await removeFile(std::move(each)); }

    Task<bool> removeFile(LeftOver each) {
        const Result<bool> unchanged = co_await isProvenUnchanged(each);
        if (!unchanged) tellFailure(each.path, each.url, unchanged.error());
        if (unchanged && !*unchanged) tell({TreeDeed::leftOver, each.path, each.url});
        if (!unchanged || !*unchanged) co_return false;
        const Result<ServerFacts> facts = co_await facts_.ask();
        const Guard guard =
            preferOwnLock(remote_, each.url, facts ? guardOfRemoving(*facts) : Guard::look);
        Result<void> removed;
        if (!facts) {
            removed = facts.error();
        } else if (isLock(guard)) {
            const Gate::Pass alone = co_await putter_.locks().enter();
            removed = co_await removeMember(remote_, each.url, each.resource, guard);
        } else {
            removed = co_await removeMember(remote_, each.url, each.resource, guard);
        }
        if (removed) {
            tell({TreeDeed::removed, each.path, each.url});
        } else {
            tellFailure(each.path, each.url, removed.error());
        }
        co_return bool(removed);
    }

    // Its members first; itself when a look finds it empty.
    Task<> removeCollection(std::string path, std::string url, size_t depth) {
        if (depth > mostTreeDepth) {
            tellFailure(path, url, localError(Kind::local, "It lies too deep to be removed."));
            co_return;
        }
        const Result<Members> members = co_await list(remote_, url);
        if (!members) {
            tellFailure(path, url, members.error());
            co_return;
        }
        bool mayGo = members->unreadable == 0;
        for (const Resource& resource : members->resources) {
            LeftOver each{Walk::pathOf(path, resource), url + resource.segment, resource};
            if (resource.isCollection) {
                std::string inner = each.url + '/';
                co_await removeCollection(each.path, std::move(inner), depth + 1);
            } else if (mayRemove(each)) {
                const bool went = co_await removeFile(std::move(each));
                mayGo = mayGo && went;
            } else {
                mayGo = false;
            }
        }
        if (!mayGo || options_.dryRun) co_return;
        const Result<Members> left = co_await list(remote_, url);
        if (left && (!left->resources.empty() || left->unreadable > 0)) co_return;
        Result<void> removed;
        if (left) {
            removed = co_await remove(remote_, url);
        } else {
            removed = left.error();
        }
        if (removed) {
            tell({TreeDeed::removed, std::move(path), std::move(url), {}, {}, true});
        } else {
            tellFailure(path, url, removed.error());
        }
    }

    Remote& remote_;
    const LocalFolder& folder_;
    const TreeOptions& options_;
    PutFactsOnce& facts_;
    Gate folders_;
    FilePutter putter_;
    ServerClock clock_;
    bool complete_ = true;  // all of the tree there was seen
    std::vector<LeftOver> leftOver_;
    bool removesUnknown_ = false;
    // Last, for their tasks use the others, and those that make folders choose files.
    Backlog<Chosen> chosen_;
    Backlog<LeftOver> removals_;
    TaskGroup newFolders_;
};

}  // namespace

Task<Result<void>> putTree(Remote& remote, std::string rootUrl, const LocalFolder& folder,
                           const TreeOptions& options, PutFactsOnce& facts) {
    Putting putting(remote, folder, options, facts);
    co_return co_await putting.run(std::move(rootUrl));
}

}  // namespace quillon
