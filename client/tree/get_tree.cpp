#include "client/tree/get_tree.hpp"

#include <map>
#include <set>
#include <utility>

#include "client/remote/backlog.hpp"
#include "client/remote/content.hpp"
#include "client/remote/fetch_hash.hpp"
#include "client/tree/known_file.hpp"
#include "client/tree/left_over_here.hpp"
#include "client/tree/new_file_taker.hpp"
#include "client/tree/walk.hpp"
#include "platform/text/url.hpp"

namespace quillon {
namespace {

class Getting {
public:
    Getting(Remote& remote, const LocalFolder& folder, const TreeOptions& options)
        : remote_(remote),
          folder_(folder),
          options_(options),
          leftOver_(folder, options),
          chosen_(remote.loop(), [this](File file) { return moveFile(std::move(file)); }) {}

    Task<Result<void>> run(std::string rootUrl) {
        Walk walk(remote_, std::move(rootUrl), [this](std::string_view path, bool isCollection) {
            return options_.filter.takes(path, isCollection);
        });
        Walk::Taker take = [this](WalkedCollection walked) {
            return takeCollection(std::move(walked));
        };
        Walk::FailureTeller fail = [this](const auto& path, const auto& url, const Error& error) {
            tellFailure(path, url, error);
        };
        Result<void> outcome = co_await walk.takeAll(std::move(take), std::move(fail));
        if (options_.meter) options_.meter->expectNoMore();
        co_await chosen_.finish();
        if (outcome && !remote_.isInterrupted()) {
            if (walk.isComplete()) {
                leftOver_.remove();
            } else if (options_.remove) {
                tell(nothingRemoved());
            }
        }
        if (outcome && remote_.isInterrupted()) outcome = interruption();  // what was left out
        co_return std::move(outcome);
    }

private:
    // What a content does when it has come, where a file is here.
    enum class Arrival : uint8_t {
        replaces,
        replacesOther,  // unless it is the same
        compares        // and nothing else
    };
    struct File {
        std::string path, url;
        Resource resource;
        std::optional<LocalEntry> here;
        std::optional<FileNote> note;
        Arrival arrival = Arrival::replaces;
        ExpectedTransfer expected{};
    };

    void tell(const TreeEvent& event) const { options_.tell(event); }
    std::string local(const std::string& path) const { return options_.placeOf(path); }
    void tellFailure(const std::string& path, const std::string& url, const Error& error) const {
        tell({TreeDeed::failed, path, url, {}, error});
    }
    void tellUnfit(const std::string& path, const std::string& url, std::string why) const {
        tellFailure(path, url, localError(Kind::local, std::move(why)));
    }

    // By their names; empty where the folder is not there.
    Result<std::map<std::string, ScannedEntry>> scan(const std::string& path) const {
        std::map<std::string, ScannedEntry> entries;
        Result<std::vector<ScannedEntry>> found = folder_.scan(local(path), options_.links);
        if (!found) return std::move(found).error();
        for (ScannedEntry& entry : *found) {
            std::string name = entry.name;
            entries.emplace(std::move(name), std::move(entry));
        }
        return entries;
    }

    // Names of which another one is the same file here: neither may replace the other.
    std::set<std::string> clashing(const std::vector<Resource>& resources) const {
        const Result<Folding> folding = folder_.folding();
        std::set<std::string> clashes;
        std::map<std::string, std::string> byKey;
        for (const Resource& resource : resources) {
            const std::string name = vxhost::decodeSegment(resource.segment);
            const std::string key = foldedName(name, folding ? *folding : Folding{});
            const auto [at, isFirst] = byKey.emplace(key, name);
            if (!isFirst) clashes.insert({name, at->second});
        }
        return clashes;
    }

    Task<> takeCollection(WalkedCollection walked) {
        if (!madeFolder(walked)) co_return;
        if (walked.members->unreadable > 0) {
            tellFailure(walked.path, walked.url, unreadableMembers());
        }
        std::map<std::string, ScannedEntry> here;
        if (Result<std::map<std::string, ScannedEntry>> found = scan(walked.path); found) {
            here = std::move(*found);
        } else if (!options_.dryRun) {
            tellFailure(walked.path, walked.url, found.error());
            co_return;
        }
        const std::vector<Resource>& resources = walked.members->resources;
        const std::set<std::string> clashes = clashing(resources);
        for (const Resource& resource : resources) {
            const std::string name = vxhost::decodeSegment(resource.segment);
            const std::string path = Walk::pathOf(walked.path, resource);
            const std::string url = walked.url + resource.segment;
            const auto found = here.find(name);
            std::optional<ScannedEntry> entry;
            if (found != here.end()) {
                entry = std::move(found->second);
                here.erase(found);
            }
            if (std::string why = whyNotLocal(name); !why.empty()) {
                tellUnfit(path, url, std::move(why));
            } else if (clashes.contains(name)) {
                tellUnfit(path, url, "Another member's name is the same file here.");
            } else if (!resource.isCollection) {
                File file{path, url, resource, {}, {}};
                co_await takeFile(std::move(file), std::move(entry));
            }
        }
        for (const auto& [name, entry] : here) leftOver_.note(walked, entry);
    }

    // Makes the collection's folder, unless it is there. What its parent could not have, it cannot.
    bool madeFolder(const WalkedCollection& walked) {
        if (local(walked.path).empty()) return true;
        const size_t slash = walked.path.rfind('/');
        const std::string parent = slash == walked.path.npos ? "" : walked.path.substr(0, slash);
        const std::string name = walked.path.substr(slash + 1);
        const bool isRoot = walked.path.empty();
        const bool impossible =
            !isRoot && (refused_.contains(parent) || !whyNotLocal(name).empty());
        const Result<std::optional<LocalEntry>> found =
            impossible ? std::optional<LocalEntry>() : folder_.look(local(walked.path));
        if (!impossible && found && *found && (*found)->kind == LocalKind::folder) return true;
        if (!impossible && found && !*found) {
            const Result<void> made =
                options_.dryRun ? Result<void>() : folder_.makeFolder(local(walked.path));
            if (made) {
                tell({TreeDeed::made, walked.path, walked.url, {}, {}, true});
                return true;
            }
            tellFailure(walked.path, walked.url, made.error());
        } else if (!impossible) {
            tellUnfit(walked.path, walked.url, "A file is here under its name.");
        }
        refused_.insert(walked.path);
        return false;
    }

    Task<> takeFile(File file, std::optional<ScannedEntry> entry) {
        if (entry) {
            file.here = entry->entry;
            if (entry->unfit != Unfit::none || entry->entry.kind != LocalKind::file) {
                tellUnfit(file.path, file.url,
                          entry->entry.kind == LocalKind::folder
                              ? "A folder is here under its name."
                              : "What is here under its name is no regular file.");
                co_return;
            }
            file.note = noteOf(file);
        }
        std::optional<bool> unchanged;
        if (file.note && isUnchanged(*file.note, *file.here)) unchanged = true;
        const FileNote* note = file.note ? &*file.note : nullptr;
        Step step = chooseDown(file.resource, file.here, note, unchanged, options_.compare);
        if (step == Step::compareContent) {
            unchanged = hasNotedHash(folder_, local(file.path), Links::left, *note);
            step = chooseDown(file.resource, file.here, note, unchanged, options_.compare);
        }
        const std::optional<uint64_t> sizeThere = file.resource.size;
        const bool mayBeSame = file.here && sizeThere.value_or(file.here->size) == file.here->size;
        if (step == Step::none) {
            tell({TreeDeed::same, file.path, file.url});
        } else if (step == Step::keep && (!mayBeSame || options_.dryRun)) {
            tellKept(file);
        } else if (options_.dryRun) {
            tell({TreeDeed::fetched, file.path, file.url, file.resource.size});
        } else {
            if (options_.compare.checksum && file.here) file.arrival = Arrival::replacesOther;
            if (step == Step::keep) file.arrival = Arrival::compares;
            file.expected = ExpectedTransfer(options_.meter, file.resource.size.value_or(0));
            co_await chosen_.add(std::move(file));
        }
    }

    Task<> moveFile(File file) {
        return file.arrival == Arrival::compares ? compareFile(std::move(file))
                                                 : fetchFile(std::move(file));
    }

    void tellKept(const File& file) const {
        tell({TreeDeed::kept,
              file.path,
              file.url,
              {},
              localError(Kind::changedHere,
                         "It was changed here since it was fetched, and was left alone.")});
    }

    std::optional<FileNote> noteOf(const File& file) const {
        return noteAbout(options_.memory, folder_, local(file.path), file.url);
    }
    std::string hashHere(const File& file) const {
        return hashOf(folder_, local(file.path), Links::left);
    }

    Task<> fetchFile(File file) {
        // Until here, not until the task is taken away.
        const ExpectedTransfer expected = std::move(file.expected);
        const std::string place = local(file.path);
        const bool isCompared = file.arrival == Arrival::replacesOther;
        NewFileTaker taker(folder_, place, options_.meter,
                           isCompared ? Hashing::ofAll : Hashing::unlessLarge);
        const FetchWish wish{.size = file.resource.size};
        Result<FetchedContent> fetched = co_await fetchWhole(remote_, file.url, taker, wish);
        if (!fetched) {
            const Error& error = taker.failure() ? *taker.failure() : fetched.error();
            tellFailure(file.path, file.url, error);
            co_return;
        }
        if (file.resource.size && *file.resource.size != fetched->size) {
            const Result<void> sized = co_await checkSize(remote_, file.url, fetched->size);
            if (!sized) {
                tellFailure(file.path, file.url, sized.error());
                co_return;
            }
        }
        tell(finishFile(file, *fetched, *taker.file()));
    }

    // It is no conflict where both sides have the same, be it that its note did not get written.
    Task<> compareFile(File file) {
        const ExpectedTransfer expected = std::move(file.expected);
        const Result<HashedContent> there =
            co_await fetchHash(remote_, file.url, file.resource.size);
        if (!there) {
            tellFailure(file.path, file.url, there.error());
        } else if (there->hash == hashHere(file)) {
            tell(noteSame(file, there->version, there->hash));
        } else {
            tellKept(file);
        }
    }

    TreeEvent noteSame(const File& file, const Version& version, std::string hash) const {
        const auto opened = folder_.openForReading(local(file.path), options_.links);
        if (opened) {
            keepNote(file, *opened, noteOfFetched(file.url, version, std::move(hash), *file.here));
        }
        return {TreeDeed::same, file.path, file.url};
    }

    TreeEvent finishFile(const File& file, const FetchedContent& fetched, NewFile& content) const {
        // Of many that came at once none waits for a slow disk.
        if (remote_.isInterrupted()) return notPlaced(file, interruption());
        const auto modified =
            fetched.version.modified ? fetched.version.modified : file.resource.modified;
        if (file.arrival == Arrival::replacesOther && hashHere(file) == content.hash()) {
            return noteSame(file, fetched.version, content.hash());
        }
        const Result<LocalEntry> placed = content.place(modified, file.here);
        if (!placed) return notPlaced(file, placed.error());
        if (options_.memory) {
            const auto note = noteOfPlaced(file.url, fetched.version, content, *placed);
            if (note) keepNote(file, content.descriptor(), *note);
        }
        return {TreeDeed::fetched, file.path, file.url, content.size()};
    }

    void keepNote(const File& file, const vxhost::Descriptor& open, const FileNote& note) const {
        if (options_.memory) options_.memory->keep(folder_.shown(local(file.path)), open, note);
    }

    static TreeEvent notPlaced(const File& file, const Error& error) {
        const bool changed = error.kind == Kind::changedHere;
        return {changed ? TreeDeed::kept : TreeDeed::failed, file.path, file.url, {}, error};
    }

    Remote& remote_;
    const LocalFolder& folder_;
    const TreeOptions& options_;
    std::set<std::string> refused_;  // folders that could not be made
    LeftOverHere leftOver_;
    Backlog<File> chosen_;  // last, for its tasks use the others
};

}  // namespace

Task<Result<void>> getTree(Remote& remote, std::string rootUrl, const LocalFolder& folder,
                           const TreeOptions& options) {
    Getting getting(remote, folder, options);
    co_return co_await getting.run(std::move(rootUrl));
}

}  // namespace quillon
