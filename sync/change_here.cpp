#include "sync/change_here.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "client/memory/file_note.hpp"
#include "client/remote/conditions.hpp"
#include "client/tree/known_file.hpp"
#include "client/tree/new_file_taker.hpp"
#include "sync/copy_path.hpp"
#include "sync/replace_here.hpp"
#include "sync/scan.hpp"

namespace quillon::sync {
namespace {

constexpr int mostCopies = 100;  // of one file within a minute

// An old file on its way to the store, or away. It has failed where the old file stays hidden: the
// next run looks at it then.
class OldFile {
public:
    OldFile(Work& work, const std::string& path, FileHere old)
        : work_(work), path_(path), old_(std::move(old)) {}

    OldFileTaker taker() {
        if (!work_.options.keeps) return {};
        return [this](const vxhost::Descriptor& folder, const std::string& hidden) -> Result<void> {
            Result<void> taken =
                takeInto(work_.store, path_, old_, work_.journal.next())(folder, hidden);
            if (taken) return taken;
            isStranded_ = true;
            return localError(taken.error().kind,
                              fmt::format("It is done, but what was there waits in {}, and goes to "
                                          "the store with the next run: {}",
                                          hidden, taken.error().sentences.front()));
        };
    }
    bool isStranded() const { return isStranded_; }
    // Whether it can be taken whole.
    Result<void> check() const {
        return work_.options.keeps ? work_.store.checkWriters(work_.folder, path_) : Result<void>();
    }

private:
    Work& work_;
    const std::string& path_;
    const FileHere old_;
    bool isStranded_ = false;
};

Result<void> reserveFor(Work& work, const std::optional<LocalEntry>& old) {
    if (!old || !work.options.keeps) return {};
    return work.store.reserve(old->size);
}

Task<Result<FetchedContent>> fetchInto(Work& work, std::string url, ThereState listed,
                                       NewFileTaker& taker) {
    const FetchWish wish{.size = listed.size};
    Result<FetchedContent> fetched = co_await fetchWhole(work.remote, url, taker, wish);
    if (!fetched) {
        if (taker.failure()) co_return std::move(*taker.failure());
        co_return std::move(fetched);
    }
    if (listed.size && *listed.size != fetched->size) {
        Result<void> sized = co_await checkSize(work.remote, std::move(url), fetched->size);
        if (!sized) co_return std::move(sized).error();
    }
    co_return std::move(fetched);
}

std::optional<Time> dateOf(const FetchedContent& fetched, const ThereState& listed) {
    return fetched.version.modified ? fetched.version.modified : listed.modified;
}

// Whether it still is what was fetched. One that the person changed is theirs no more.
bool isTheirs(const LocalFolder& folder, const ConflictCopy& copy) {
    return hashOf(folder, copy.copy, Links::left) == copy.there.hash;
}

Result<std::string> freeCopyPath(const Work& work, const std::string& path, Time when) {
    for (int number = 1; number <= mostCopies; ++number) {
        std::string copy = copyPathOf(path, when, number);
        const Result<std::optional<LocalEntry>> found = work.folder.look(copy);
        if (!found) return found.error();
        if (!*found) return copy;
    }
    return localError(Kind::local, "There are too many of theirs beside it. Settle some.");
}

// What was changed there, too, stays what both had under another name, until it is fetched.
void takeMovedThere(BaseNode& node, const ThereNode& there, std::optional<Time> asked) {
    const ThereState& now = there.state;
    if (isUnchangedThere(node, there).value_or(false)) {
        node.there = settled(now, asked);
        node.there.hash = node.here.hash;
    }
    node.there.segment = now.segment;
}

}  // namespace

ThereState fetchedState(ThereState listed, const FetchedContent& fetched, std::string hash) {
    const Version& version = fetched.version;
    const bool isListed = listed.size.value_or(fetched.size) == fetched.size;
    const bool hasTag = isSameTag(speltTag(listed.tag), speltTag(version.tag));
    const bool hasDate = listed.modified && listed.modified == version.modified;
    if (!isListed || !(hasTag || hasDate)) listed.tag = {};
    if (hasTag && !version.tag.text.empty()) listed.tag = version.tag;
    listed.size = fetched.size;
    listed.modified = version.modified;
    listed = settled(std::move(listed), version.date);
    listed.hash = std::move(hash);
    return listed;
}

Task<Result<Done>> fetchFile(Work& work, std::string path) {
    const ThereState listed = work.there(path)->state;
    const Result<std::optional<LocalEntry>> seen = work.lookHere(path);
    if (!seen) co_return seen.error();
    Result<void> hasRoom = reserveFor(work, *seen);
    if (!hasRoom) co_return std::move(hasRoom).error();
    NewFileTaker taker(work.folder, path, work.options.meter, Hashing::ofAll);
    std::string url = work.url(path);
    Result<FetchedContent> fetched = co_await fetchInto(work, std::move(url), listed, taker);
    if (!fetched) co_return std::move(fetched).error();
    NewFile& file = *taker.file();
    const std::string hash = file.hash(), oldHash = work.hashHere(path);
    BaseNode node;
    node.there = fetchedState(listed, *fetched, hash);
    if (*seen && hash == oldHash) {  // it is the same in both places, whatever the dates say
        node.here = settled(hereStateOf(**seen));
        node.here.hash = hash;
        work.noteNode(path, std::move(node));
        co_return Done{};
    }
    Intent intent{.act = Act::fetch, .path = path, .oldHash = oldHash, .newHash = hash};
    if (*seen) intent.hidden = file.hiddenName();
    const Result<int64_t> id = co_await work.journal.note(std::move(intent));
    if (!id) co_return id.error();
    FileHere seenFile{*seen, oldHash};
    OldFile old(work, path, std::move(seenFile));
    Result<void> free = *seen ? old.check() : Result<void>();
    Result<LocalEntry> placed =
        free ? file.place(dateOf(*fetched, listed), *seen, Durability::none, old.taker())
             : Result<LocalEntry>(std::move(free).error());
    if (!placed) {
        if (!old.isStranded()) work.noteUndone(*id);
        co_return std::move(placed).error();
    }
    node.here = settled(hereStateOf(*placed));
    node.here.hash = hash;
    work.store.keepCommon(file.descriptor(), file.size(), hash);
    Deed deed = deedOf(work.run, Act::fetch, path);
    deed.oldHash = oldHash;
    deed.newHash = hash;
    work.noteDone(*id, std::move(deed));
    work.noteNode(path, std::move(node));
    co_return Done{file.size()};
}

Task<Result<Done>> makeFolder(Work& work, std::string path) {
    Intent intent{.act = Act::makeHere, .path = path};
    const Result<int64_t> id = co_await work.journal.note(std::move(intent));
    if (!id) co_return id.error();
    Result<void> made = work.folder.makeFolder(path);
    if (!made) {
        work.noteUndone(*id);
        co_return std::move(made).error();
    }
    const Result<std::optional<LocalEntry>> now = work.folder.look(path);
    BaseNode node{.kind = NodeKind::folder};
    if (now && *now) node.here.inode = (*now)->inode;
    if (const ThereNode* there = work.there(path)) node.there = there->state;
    Deed deed = deedOf(work.run, Act::makeHere, path);
    deed.isFolder = true;
    work.noteDone(*id, std::move(deed));
    work.noteNode(path, std::move(node));
    co_return Done{};
}

Task<Result<Done>> moveHere(Work& work, std::string from, std::string path) {
    const Result<std::optional<LocalEntry>> before = work.folder.look(from);
    if (!before) co_return before.error();
    const HereNode* seen = work.here(path);  // where the plan has it already
    if (!*before || !seen || !hasSameStat(seen->state, hereStateOf(**before))) {
        co_return localError(Kind::changedHere,
                             "It was changed here meanwhile; the next run takes it.");
    }
    Intent intent{.act = Act::moveHere, .path = path, .from = from};
    const Result<int64_t> id = co_await work.journal.note(std::move(intent));
    if (!id) co_return id.error();
    Result<void> moved = work.folder.move(from, path);
    if (!moved) {
        work.noteUndone(*id);
        co_return std::move(moved).error();
    }
    const Result<std::optional<LocalEntry>> now = work.folder.look(path);
    BaseNode node = *work.base(path);
    // What somebody wrote between the look and the renaming is read by the next run.
    const bool isSame = now && *now && isSameVersion(**before, **now);
    node.here.changedNs = isSame ? settled(hereStateOf(**now)).changedNs : 0;
    // What follows in this run, as a fetch over it, is to find what it expects.
    if (isSame) work.trees.here.at(path).state.changedNs = hereStateOf(**now).changedNs;
    const std::string hash = node.here.hash;
    takeMovedThere(node, *work.there(path), work.asked);
    Deed deed = deedOf(work.run, Act::moveHere, path);
    deed.from = from;
    deed.newHash = hash;
    work.noteDone(*id, std::move(deed));
    work.noteNode(from, std::nullopt);
    work.noteNode(path, std::move(node));
    co_return Done{};
}

Task<Result<Done>> removeFile(Work& work, std::string path) {
    const Result<std::optional<LocalEntry>> seen = work.lookHere(path);
    if (!seen) co_return seen.error();
    if (!*seen) co_return Done{};
    Result<void> hasRoom = reserveFor(work, *seen);
    if (!hasRoom) co_return std::move(hasRoom).error();
    const std::string hash = work.hashHere(path);
    Intent intent{.act = Act::removeHere, .path = path, .hidden = newHiddenName(), .oldHash = hash};
    const std::string hidden = intent.hidden;
    const Result<int64_t> id = co_await work.journal.note(std::move(intent));
    if (!id) co_return id.error();
    FileHere seenFile{*seen, hash};
    OldFile old(work, path, std::move(seenFile));
    Result<void> removed = old.check();
    if (removed) removed = work.folder.removeFile(path, **seen, {hidden, old.taker()});
    if (!removed) {
        if (!old.isStranded()) work.noteUndone(*id);
        co_return std::move(removed).error();
    }
    Deed deed = deedOf(work.run, Act::removeHere, path);
    deed.oldHash = hash;
    work.noteDone(*id, std::move(deed));
    work.noteNode(path, std::nullopt);
    co_return Done{};
}

// A folder that holds what no side knows, as what is left out, stays.
Task<Result<Done>> removeFolder(Work& work, std::string path) {
    Intent intent{.act = Act::removeHere, .path = path};
    const Result<int64_t> id = co_await work.journal.note(std::move(intent));
    if (!id) co_return id.error();
    Result<void> removed = work.folder.removeFolder(path);
    if (!removed) {
        work.noteUndone(*id);
        const Result<std::vector<ScannedEntry>> inner = work.folder.scan(path, Links::left);
        if (!inner || inner->empty()) co_return std::move(removed).error();
        co_return localError(Kind::local,
                             "It stays, for it holds what is left out, or was made meanwhile. "
                             "Remove that yourself if it is to go, too.");
    }
    Deed deed = deedOf(work.run, Act::removeHere, path);
    deed.isFolder = true;
    work.noteDone(*id, std::move(deed));
    work.noteNode(path, std::nullopt);
    co_return Done{};
}

Task<Result<std::string>> fetchCopy(Work& work, std::string path) {
    const ThereState listed = work.there(path)->state;
    const Result<std::vector<ConflictCopy>> copies = work.pair.state().copies();
    if (!copies) co_return copies.error();
    const auto latest = std::find_if(copies->rbegin(), copies->rend(),
                                     [&](const ConflictCopy& each) { return each.path == path; });
    for (const ConflictCopy& each : *copies) {
        if (each.path != path) continue;
        BaseNode version;
        version.here.hash = each.there.hash;
        version.there = each.there;
        const ThereNode there{NodeKind::file, listed, {}};
        if (!isUnchangedThere(version, there).value_or(false)) continue;
        if (!isTheirs(work.folder, each)) continue;
        const bool isAsNoted =
            listed.tag.text == each.there.tag.text && listed.modified == each.there.modified;
        ConflictCopy row = each;
        if (!isAsNoted) {  // the same content once more, which need not be fetched again
            row.there = settled(listed, work.asked);
            row.there.hash = each.there.hash;
        }
        // One that they went back to is the latest again.
        if (!isAsNoted || &each != &*latest) work.journal.next().copies.push_back(std::move(row));
        co_return each.copy;
    }
    const Result<std::string> copy = freeCopyPath(work, path, listed.modified.value_or(timeNow()));
    if (!copy) co_return copy.error();
    NewFileTaker taker(work.folder, *copy, work.options.meter, Hashing::ofAll);
    std::string url = work.url(path);
    Result<FetchedContent> fetched = co_await fetchInto(work, std::move(url), listed, taker);
    if (!fetched) co_return std::move(fetched).error();
    NewFile& file = *taker.file();
    ThereState version = fetchedState(listed, *fetched, file.hash());
    for (const ConflictCopy& each : *copies) {
        const bool isSame = each.path == path && each.there.hash == file.hash();
        if (!isSame || !isTheirs(work.folder, each)) continue;
        ConflictCopy row{each.copy, path, std::move(version)};
        work.journal.next().copies.push_back(std::move(row));
        co_return each.copy;
    }
    // Its row comes before it does, so that it is never taken for the person's own.
    ConflictCopy row{*copy, path, std::move(version)};
    work.journal.next().copies.push_back(std::move(row));
    Intent intent{.act = Act::conflict, .path = path, .newHash = file.hash()};
    const Result<int64_t> id = co_await work.journal.note(std::move(intent));
    if (!id) co_return id.error();
    const std::optional<LocalEntry> nothing;
    const Result<LocalEntry> placed = file.place(dateOf(*fetched, listed), nothing);
    work.noteUndone(*id);
    if (!placed) co_return placed.error();
    co_return *copy;
}

}  // namespace quillon::sync
