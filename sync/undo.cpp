#include "sync/undo.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "client/memory/file_note.hpp"
#include "client/outcome.hpp"
#include "client/remote/change.hpp"
#include "client/remote/fetch_hash.hpp"
#include "client/tree/known_file.hpp"
#include "client/tree/put_facts.hpp"
#include "client/tree/replace.hpp"
#include "platform/http/file_upload.hpp"
#include "platform/text/url.hpp"
#include "sync/held_pair.hpp"
#include "sync/look_there.hpp"
#include "sync/recover.hpp"
#include "sync/replace_here.hpp"

namespace quillon::sync {
namespace {

namespace fs = std::filesystem;

bool isHere(Act act) {
    return act == Act::fetch || act == Act::removeHere;
}

bool givesBack(const Deed& deed) {
    const bool isChange =
        isHere(deed.act) || deed.act == Act::store || deed.act == Act::removeThere;
    return isChange && !deed.isFolder && !deed.oldHash.empty();
}

Error notInStore() {
    return localError(Kind::local,
                      "What it was is not in the store: it is too long ago, or a program has the "
                      "file open still.");
}

Error changedHereSince() {
    return localError(Kind::changedHere, "It was changed here since, and was left alone.");
}

Error changedThereSince() {
    return localError(Kind::changedOnServer,
                      "It was changed on the server since, and was left alone.");
}

// Where a folder was, or is to be again.
Error inTheWay(Kind kind, const std::string& path, bool isFolder) {
    return localError(kind,
                      fmt::format("{} is a {} now, and was left alone. Give that another name, "
                                  "and undo the run once more.",
                                  path, isFolder ? "folder" : "file"));
}

// Paths of the folders above it, from the top.
std::vector<std::string> foldersAbove(const std::string& path) {
    std::vector<std::string> folders;
    for (size_t slash = path.find('/'); slash != path.npos; slash = path.find('/', slash + 1)) {
        folders.push_back(path.substr(0, slash));
    }
    return folders;
}

class Undoing {
public:
    Undoing(Remote& remote, Pair& pair, const SyncOptions& options, const LocalFolder& folder,
            Store& store)
        : remote_(remote),
          pair_(pair),
          options_(options),
          folder_(folder),
          store_(store),
          facts_(remote, pair.url()) {}

    Task<Result<SyncEnd>> run(std::vector<Deed> deeds) {
        const Result<int64_t> run = pair_.state().beginRun(timeNow(), deeds.front().run);
        if (!run) co_return run.error();
        run_ = *run;
        std::reverse(deeds.begin(), deeds.end());  // the last is taken back first
        bool isTold = false;
        for (const Deed& deed : deeds) {
            if (!givesBack(deed)) continue;
            if (remote_.isInterrupted()) co_return interruption();
            Result<bool> done = co_await giveBack(deed);
            if (done && !*done) continue;
            isTold = true;
            if (!done) ++end_.failures;
            SyncEvent event{deed.act, deed.path};
            if (!done) event.error = std::move(done).error();
            options_.tell(event);
        }
        if (!isTold) options_.remark("All that the run replaced or removed is what it was.");
        co_return end_;
    }

private:
    // Gives whether it was anything else than what it was before the deed.
    Task<Result<bool>> giveBack(Deed deed) {
        const std::optional<fs::path> content = store_.find(deed.oldHash);
        if (!content) {
            co_return notInStore();
        }
        if (isHere(deed.act)) co_return giveBackHere(deed, *content);
        Result<bool> given = co_await giveBackThere(deed, *content);
        if (given) co_return std::move(given);
        const std::string file = co_await fileAboveThere(deed.path);
        if (file.empty()) co_return std::move(given);
        co_return inTheWay(Kind::changedOnServer, file, false);
    }

    // A run that was killed may not have noted what it had done, which the next one did once more
    // then.
    Result<void> noteOutcome(const Deed& deed) {
        const Result<std::optional<BaseNode>> base = pair_.state().node(deed.path);
        if (!base) return base.error();
        if (!*base || (*base)->here.hash != deed.oldHash) return {};
        std::optional<BaseNode> outcome;
        if (!deed.newHash.empty()) {  // nothing but the contents prove it
            outcome.emplace();
            outcome->here.inode = (*base)->here.inode;
            outcome->here.hash = outcome->there.hash = deed.newHash;
        }
        StateChange change;
        change.nodes.emplace_back(deed.path, std::move(outcome));
        return pair_.state().commit(change);
    }

    Result<bool> giveBackHere(const Deed& deed, const fs::path& content) {
        if (Result<void> free = checkWayHere(deed.path); !free) return std::move(free).error();
        const Result<FileHere> now = readFileHere(folder_, deed.path);
        if (!now) return now.error();
        if (now->hash == deed.oldHash) return false;
        if (now->isUnread() || now->hash != deed.newHash) return changedHereSince();
        if (Result<void> made = makeFolders(deed.path); !made) return std::move(made).error();
        Result<NewFile> file = copyToNewFile(folder_, content, deed.path);
        if (!file) return std::move(file).error();
        if (file->hash() != deed.oldHash) return notInStore();
        if (Result<void> noted = noteOutcome(deed); !noted) return std::move(noted).error();
        Result<void> replaced =
            replaceHere(folder_, pair_.state(), store_, deed.path, *now, *file, run_, {});
        if (!replaced) return std::move(replaced).error();
        return true;
    }

    Result<void> checkWayHere(const std::string& path) const {
        const auto isA = [this](const std::string& at, LocalKind kind) {
            const Result<std::optional<LocalEntry>> found = folder_.look(at);
            return found && *found && (*found)->kind == kind;
        };
        for (const std::string& above : foldersAbove(path)) {
            if (isA(above, LocalKind::file)) return inTheWay(Kind::changedHere, above, false);
        }
        if (isA(path, LocalKind::folder)) return inTheWay(Kind::changedHere, path, true);
        return {};
    }

    Result<void> makeFolders(const std::string& path) const {
        for (const std::string& above : foldersAbove(path)) {
            if (Result<void> made = folder_.makeFolder(above); !made) return made;
        }
        return {};
    }

    // Where a collection is to be; empty: there is none.
    Task<std::string> fileAboveThere(std::string path) {
        const ThereTree none;
        for (const std::string& above : foldersAbove(path)) {
            std::string url = urlOf(pair_.url(), none, above, false);
            const Result<std::optional<Resource>> found = co_await look(remote_, std::move(url));
            if (!found || !*found) break;
            if (!(*found)->isCollection) co_return above;
        }
        co_return std::string();
    }

    // Those above the member; that one is there is no failure.
    Task<Result<void>> makeCollections(std::string path) {
        const ThereTree none;
        for (const std::string& above : foldersAbove(path)) {
            std::string url = urlOf(pair_.url(), none, above, true);
            Result<void> made = co_await quillon::makeCollection(remote_, std::move(url));
            if (!made && made.error().httpStatus != 405) co_return std::move(made);
        }
        co_return Result<void>();
    }

    // Whether it still is what the run left, in the store then, and not what it was before. Of what
    // is small the content is compared: somebody may have stored as many bytes in the same second.
    Task<Result<bool>> checkThere(std::string url, Deed deed, Resource now) {
        const bool hasTag = !deed.newTag.text.empty() && deed.newTag.text == now.tag.text &&
                            now.size.value_or(0) > worthLooking;
        if (hasTag) {
            const Result<bool> isKept = store_.keep(deed.newHash);
            if (isKept && *isKept) co_return true;
        }
        if (hasTag && hashOf(folder_, deed.path, Links::left) == deed.newHash) {
            const auto open = folder_.openForReading(deed.path, Links::left);
            if (open) co_return copyToStore(*open, deed);
        }
        const Result<HashedContent> content = co_await fetchHash(remote_, std::move(url), now.size);
        if (!content) co_return content.error();
        if (content->hash == deed.oldHash) co_return false;
        if (content->hash != deed.newHash) co_return changedThereSince();
        const Result<bool> isKept = store_.keep(deed.newHash);
        if (isKept && *isKept) co_return true;
        if (const auto open = folder_.openForReading(deed.path, Links::left)) {
            co_return copyToStore(*open, deed);
        }
        co_return localError(Kind::refused,
                             "What is there now is nowhere else, and would be lost. Fetch it "
                             "first.");
    }

    Result<bool> copyToStore(const vxhost::Descriptor& file, const Deed& deed) {
        Result<void> copied = store_.copy(file, deed.path, deed.newHash);
        if (!copied) return std::move(copied).error();
        return true;
    }

    Task<Result<bool>> giveBackThere(Deed deed, fs::path content) {
        const ThereTree none;
        std::string url = urlOf(pair_.url(), none, deed.path, false);
        const Result<std::optional<Resource>> now = co_await look(remote_, url);
        if (!now) co_return now.error();
        if (*now && (*now)->isCollection) {
            co_return inTheWay(Kind::changedOnServer, deed.path, true);
        }
        const bool wasRemoved = deed.act == Act::removeThere;
        if (!*now && !wasRemoved) co_return changedThereSince();
        if (*now) {
            Result<bool> isIt = co_await checkThere(url, deed, **now);
            if (!isIt || !*isIt) co_return std::move(isIt);
        } else {
            Result<void> made = co_await makeCollections(deed.path);
            if (!made) co_return std::move(made).error();
        }
        Result<void> known = noteOutcome(deed);
        if (!known) co_return std::move(known).error();
        const Result<ServerFacts> facts = co_await facts_.ask();
        if (!facts) co_return facts.error();
        Result<vxhost::Descriptor> open = caught([&]() -> Result<vxhost::Descriptor> {
            return vxhost::Descriptor(content, O_RDONLY | O_NOFOLLOW);
        });
        if (!open) co_return std::move(open).error();
        const Result<std::string> hash =
            caught([&]() -> Result<std::string> { return hashFile(*open, content.string()); });
        if (!hash || *hash != deed.oldHash) co_return notInStore();
        if (lseek(open->number(), 0, SEEK_SET) != 0) co_return notInStore();
        vxhost::FileUpload upload(std::move(*open), content);
        std::vector<std::string> headers;
        Result<Stored> stored = Stored{};
        if (*now) {
            stored = co_await replaceMember(remote_, url, upload, **now, guardOfReplacing(*facts),
                                            std::move(headers), deed.newHash);
        } else {
            stored = co_await makeMember(remote_, url, upload, guardOfMaking(*facts),
                                         std::move(headers));
        }
        if (!stored) co_return std::move(stored).error();
        StateChange after;
        Deed done = deedOf(run_, Act::store, deed.path, *now ? deed.newHash : "", deed.oldHash);
        done.newTag = stored->version.tag;
        after.deeds.push_back(std::move(done));
        Result<void> noted = pair_.state().commit(after);
        if (!noted) co_return std::move(noted).error();
        co_return true;
    }

    Remote& remote_;
    Pair& pair_;
    const SyncOptions& options_;
    const LocalFolder& folder_;
    Store& store_;
    PutFactsOnce facts_;
    int64_t run_ = 0;
    SyncEnd end_;
};

// Of the run, or of the last one that replaced or removed anything.
Result<std::vector<Deed>> deedsToUndo(const State& state, int64_t run) {
    Result<std::vector<Deed>> deeds = state.deeds(run);
    if (!deeds) return deeds;
    const auto last = std::find_if(deeds->rbegin(), deeds->rend(), givesBack);
    if (last == deeds->rend()) {
        return localError(Kind::notFound,
                          run == 0 ? "No run has replaced or removed anything."
                                   : fmt::format("Run {} replaced and removed nothing, or is not "
                                                 "known any more. quillon log lists them.",
                                                 run));
    }
    const int64_t chosen = last->run;
    std::erase_if(*deeds, [chosen](const Deed& each) { return each.run != chosen; });
    return deeds;
}

}  // namespace

Task<Result<SyncEnd>> undoRun(Remote& remote, Pair& pair, int64_t run, const SyncOptions& options) {
    Result<HeldPair> held = HeldPair::open(pair, options.limits);
    if (!held) co_return std::move(held).error();
    const Result<Recovered> recovered =
        recover(held->folder, pair.state(), held->store, LateRun::last);
    if (!recovered) co_return recovered.error();
    for (const std::string& sentence : recovered->left) options.remark(sentence);
    Result<std::vector<Deed>> deeds = deedsToUndo(pair.state(), run);
    if (!deeds) co_return std::move(deeds).error();
    Undoing undoing(remote, pair, options, held->folder, held->store);
    co_return co_await undoing.run(std::move(*deeds));
}

}  // namespace quillon::sync
