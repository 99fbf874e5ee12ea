#include "sync/change_there.hpp"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <utility>

#include "client/facts/server_facts.hpp"
#include "client/memory/file_note.hpp"
#include "client/outcome.hpp"
#include "client/remote/change.hpp"
#include "client/remote/conditions.hpp"
#include "client/remote/held_lock.hpp"
#include "client/tree/replace.hpp"
#include "platform/files/content.hpp"
#include "platform/files/content_hash.hpp"
#include "platform/text/url.hpp"
#include "sync/scan.hpp"

namespace quillon::sync {
namespace {

namespace fs = std::filesystem;

// A content on its way into the store.
class KeptContent : public ContentTaker {
public:
    explicit KeptContent(fs::path path)
        : path_(std::move(path)), file_(path_, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW, 0600) {}
    ~KeptContent() override {
        unlink(path_.c_str());
    }  // once it is in the store it has another name
    KeptContent(const KeptContent&) = delete;
    KeptContent& operator=(const KeptContent&) = delete;

    void begin() override {
        if (ftruncate(file_.number(), 0) != 0 || lseek(file_.number(), 0, SEEK_SET) != 0) {
            vxhost::throwSystemFailure(errno, "Cannot write " + path_.string());
        }
        hash_.reset();
    }
    void take(std::string_view piece) override {
        if (const int error = vxhost::writeWhole(file_, piece)) {
            vxhost::throwSystemFailure(error, "Cannot write " + path_.string());
        }
        hash_.add(piece);
    }
    const fs::path& path() const { return path_; }
    std::string hash() const { return hash_.hex(); }

private:
    const fs::path path_;
    vxhost::Descriptor file_;
    vxhost::ContentHash hash_;
};

Error changedThere() {
    return localError(Kind::changedOnServer,
                      "It was changed on the server meanwhile; the next run takes it.");
}

Error holdsMore() {
    return localError(Kind::changedOnServer,
                      "It stays, for it holds what is left out, or was put there meanwhile. Remove "
                      "that yourself if it is to go, too.");
}

// What is there goes into the store, unless it has it. Gives its hash.
Task<Result<std::string>> keepThere(Work& work, std::string path) {
    const ThereState there = work.there(path)->state;
    std::string hash = work.hashThere(path);
    if (!work.options.keeps) co_return std::move(hash);
    if (!hash.empty()) {
        const Result<bool> isKept = work.store.keep(hash);
        if (!isKept) co_return isKept.error();
        if (*isKept) co_return std::move(hash);
    }
    Result<void> hasRoom = work.store.reserve(there.size.value_or(0));
    if (!hasRoom) co_return std::move(hasRoom).error();
    std::optional<KeptContent> content;
    const Result<void> opened = caught([&]() -> Result<void> {
        content.emplace(work.store.newName());
        return {};
    });
    if (!opened) co_return opened.error();
    const FetchWish wish{.size = there.size};
    std::string url = work.url(path);
    const Result<FetchedContent> fetched =
        co_await fetchWhole(work.remote, std::move(url), *content, wish);
    if (!fetched) co_return fetched.error();
    const std::string came = content->hash();
    Result<void> kept = work.store.adopt(content->path(), came);
    if (!kept) co_return std::move(kept).error();
    if (hash.empty() || hash == came) co_return came;
    // The tag proved nothing: the next run compares the content.
    if (const BaseNode* base = work.base(path)) {
        BaseNode doubted = *base;
        doubted.there.tag = {};
        doubted.there.modified.reset();
        work.noteNode(path, std::move(doubted));
    }
    co_return changedThere();
}

// As a base has it after a store of ours: the tag is the one of its answer, or of a look under the
// lock. Without one the date makes it likely that it still is that.
ThereState storedState(const std::string& url, const PutEnd& end, bool tagsServe) {
    ThereState state;
    state.segment = url.substr(url.rfind('/') + 1);
    if (tagsServe) state.tag = end.version.tag;
    state.size = end.size;
    state.hash = end.hash;
    state.isLikely = state.tag.text.empty();
    state.modified = end.version.modified ? end.version.modified : end.version.date;
    if (!state.isLikely) state.modified.reset();  // it is too young to prove anything
    if (end.isOther) state.size.reset();
    return state;
}

// Whether a change may be made though it failed: its answer was lost, or a lock of ours stays,
// whose giving back may be all that failed.
bool mayBeDone(const Error& error) {
    const bool isLost = error.kind == Kind::network || error.kind == Kind::interrupted;
    return isLost || std::ranges::any_of(error.locks, &StrayLock::taken);
}

// The hash where what was seen there is so young that another content could look the same.
std::string hashIfYoung(const Work& work, const ThereState& seen, const std::string& hash) {
    return settled(seen, work.asked).modified ? std::string() : hash;
}

std::string lastName(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

// The URL of what the plan has under its new path already.
std::string oldUrl(const Work& work, const std::string& from, const std::string& path) {
    const std::string name = lastName(from);
    const std::string parent = from.substr(0, from.size() - name.size());
    const std::string& spelt = work.there(path)->state.segment;
    const std::string folder = parent.empty() ? "" : parent.substr(0, parent.size() - 1);
    const bool isSpelt = !spelt.empty() && vxhost::decodeSegment(spelt) == name;
    return work.url(folder, !folder.empty()) + (isSpelt ? spelt : vxhost::encodeSegment(name));
}

// What a moved file is noted as: the version that was seen, if it still is that. On some servers
// it has another tag then.
void takeMoved(Work& work, const std::string& path, const ThereNode& before, const ThereState& now,
               std::optional<Time> asked) {
    const BaseNode* base = work.base(path);
    if (!base || base->kind != NodeKind::file || !isUnchangedThere(*base, before).value_or(false)) {
        return;
    }
    // The trees have here what is moved into the folder by a step that may fail yet; the state has
    // what was moved with it.
    const Result<std::optional<BaseNode>> noted = work.pair.state().node(path);
    if (!noted || !*noted) return;
    BaseNode moved = *base;
    const bool hasTag = !now.tag.text.empty() && now.tag.text == before.state.tag.text;
    const bool isSame = now.size == before.state.size && now.modified == before.state.modified;
    if (hasTag || isSame) {
        moved.there = hasTag ? now : settled(now, asked);
        moved.there.hash = base->here.hash;
        if (hasTag) moved.there.modified = base->there.modified;
    }
    moved.there.segment = now.segment;
    moved.there.fileId = base->there.fileId;
    work.noteNode(path, std::move(moved));
}

// Whether a move was made though it failed: its answer was lost. What else somebody put into the
// new place in the meantime is none of it.
Task<bool> wasMoved(Remote& remote, std::string fromUrl, std::string toUrl, ThereNode seen) {
    const Result<std::optional<Resource>> to = co_await look(remote, std::move(toUrl));
    const bool isFolder = seen.kind == NodeKind::folder;
    if (!to || !*to || (*to)->isCollection != isFolder) co_return false;
    const bool isSame = (*to)->size == seen.state.size && ((*to)->tag.text == seen.state.tag.text ||
                                                           (*to)->modified == seen.state.modified);
    if (!isFolder && !isSame) co_return false;
    const Result<std::optional<Resource>> from = co_await look(remote, std::move(fromUrl));
    co_return from && !*from;
}

Task<> lookAtMoved(Work& work, std::string path, bool isFolder) {
    std::string url = work.url(path, isFolder);
    if (!isFolder) {
        const Result<std::optional<Resource>> now = co_await look(work.remote, url);
        if (now && *now) takeMoved(work, path, *work.there(path), thereStateOf(**now), work.asked);
        co_return;
    }
    const Filter all;
    const Folding none;
    const Result<ThereLook> now = co_await lookThere(work.remote, std::move(url), all, none);
    if (!now) co_return;  // the next run compares
    for (const auto& [its, node] : now->tree) {
        const std::string whole = fmt::format("{}/{}", path, its);
        const ThereNode* before = work.there(whole);
        if (node.kind == NodeKind::file && before) {
            takeMoved(work, whole, *before, node.state, now->asked);
        }
    }
}

Task<Result<void>> removeEmpty(Work& work, std::string url, std::string lockToken) {
    const Result<Members> members = co_await list(work.remote, url);
    if (!members) co_return members.error();
    if (!members->resources.empty() || members->unreadable > 0) co_return holdsMore();
    const Conditions conditions{.lockToken = std::move(lockToken)};
    co_return co_await remove(work.remote, std::move(url), conditions);
}

// Nobody puts anything into it between the look and the removal.
Task<Result<void>> removeEmptyLocked(Work& work, std::string url) {
    const Gate::Pass alone = co_await work.putter.locks().enter();
    Result<HeldLock> lock = co_await takeLock(work.remote, url, Depth::infinity);
    // What locks something in it, be it a lock that outlived its member, does not keep us from
    // asking: the server refuses then what it has to.
    const bool isLocked = !lock && lock.error().kind == Kind::locked;
    if (!lock && !isLocked && !meansNoLocks(lock.error())) co_return std::move(lock).error();
    std::string token = lock ? lock->token() : std::string();
    Result<void> removed = co_await removeEmpty(work, url, std::move(token));
    if (!lock) co_return std::move(removed);
    removed = co_await giveBackAfter(work.remote, std::move(*lock), std::move(removed));
    // Some know no lock of a collection.
    const bool isOurs =
        !removed && removed.error().kind == Kind::locked && removed.error().locks.empty();
    if (!isOurs) co_return std::move(removed);
    std::string none;
    co_return co_await removeEmpty(work, std::move(url), std::move(none));
}

}  // namespace

Task<Result<Done>> storeFile(Work& work, std::string path) {
    const Result<std::optional<LocalEntry>> seen = work.lookHere(path);
    if (!seen) co_return seen.error();
    if (!*seen) co_return localError(Kind::changedHere, "It was removed here meanwhile.");
    FileToPut file{path, work.url(path), **seen, {}};
    std::string oldHash;
    if (const ThereNode* there = work.there(path)) {
        file.there = resourceOf(there->state);
        Result<std::string> kept = co_await keepThere(work, path);
        if (!kept) co_return std::move(kept).error();
        oldHash = std::move(*kept);
        file.thereHash = hashIfYoung(work, there->state, oldHash);
    }
    Intent intent{
        .act = Act::store, .path = path, .oldHash = oldHash, .newHash = work.hashHere(path)};
    const Result<int64_t> id = co_await work.journal.note(std::move(intent));
    if (!id) co_return id.error();
    Result<PutEnd> end = co_await work.putter.put(work.folder, file);
    if (!end) {
        if (!mayBeDone(end.error())) work.noteUndone(*id);
        co_return std::move(end).error();
    }
    const Result<ServerFacts> facts = co_await work.facts.ask();
    BaseNode node;
    node.here = settled(hereStateOf(end->begun));
    node.here.hash = end->hash;
    // A tag that may repeat may be another one's by now.
    const bool tagsServe = facts && facts->tagsInProperties && facts->tagsDiffer;
    node.there = storedState(file.url, *end, tagsServe);
    if (const ThereNode* there = work.there(path)) node.there.fileId = there->state.fileId;
    Deed deed = deedOf(work.run, Act::store, path);
    deed.oldHash = oldHash;
    deed.newHash = end->hash;
    deed.newTag = node.there.tag;
    work.noteDone(*id, std::move(deed));
    work.noteNode(path, std::move(node));
    if (const auto open = work.folder.openForReading(path, Links::left)) {
        work.store.keepCommon(*open, end->size, end->hash);
    }
    co_return Done{end->size, std::move(end->remark), std::move(end->mishap)};
}

Task<Result<Done>> makeCollection(Work& work, std::string path) {
    Intent intent{.act = Act::makeThere, .path = path};
    const Result<int64_t> id = co_await work.journal.note(std::move(intent));
    if (!id) co_return id.error();
    std::string url = work.url(path, true);
    Result<void> made = co_await quillon::makeCollection(work.remote, std::move(url));
    const bool isThere = !made && made.error().httpStatus == 405;  // somebody made it meanwhile
    if (!made && !isThere) {
        work.noteUndone(*id);
        co_return std::move(made).error();
    }
    BaseNode node{.kind = NodeKind::folder};
    if (const HereNode* here = work.here(path)) node.here = here->state;
    node.there.segment = vxhost::encodeSegment(lastName(path));
    Deed deed = deedOf(work.run, Act::makeThere, path);
    deed.isFolder = true;
    work.noteDone(*id, std::move(deed));
    work.noteNode(path, std::move(node));
    co_return Done{};
}

// Without a condition: what somebody stores in it meanwhile goes along, and nothing is replaced.
Task<Result<Done>> moveThere(Work& work, std::string from, std::string path, bool isFolder) {
    std::string fromUrl = oldUrl(work, from, path), toUrl = work.url(path, isFolder);
    if (isFolder) fromUrl += '/';
    Intent intent{.act = Act::moveThere, .path = path, .from = from};
    const Result<int64_t> id = co_await work.journal.note(std::move(intent));
    if (!id) co_return id.error();
    Result<void> moved = co_await move(work.remote, fromUrl, toUrl, Overwrite::no);
    if (!moved) {
        ThereNode seen = *work.there(path);
        const bool wasDone =
            co_await wasMoved(work.remote, std::move(fromUrl), std::move(toUrl), std::move(seen));
        if (!wasDone) {
            work.noteUndone(*id);
            co_return std::move(moved).error();
        }
    }
    work.journal.next().moves.emplace_back(from, path);
    // The order in the state: first the move, then what is known of each behind it.
    Deed deed = deedOf(work.run, Act::moveThere, path);
    deed.from = from;
    deed.isFolder = isFolder;
    work.noteDone(*id, std::move(deed));
    const Result<void> written = work.journal.write();
    if (!written) co_return written.error();
    if (!isFolder) {
        if (const HereNode* here = work.here(path)) {
            BaseNode node = *work.base(path);
            const std::string hash = node.here.hash;
            node.here = here->state;
            node.here.hash = hash;
            work.trees.base[path] = node;
            work.noteNode(path, std::move(node));
        }
    }
    co_await lookAtMoved(work, path, isFolder);
    co_return Done{};
}

Task<Result<Done>> removeMember(Work& work, std::string path) {
    Result<std::string> hash = co_await keepThere(work, path);
    if (!hash) co_return std::move(hash).error();
    const Result<ServerFacts> facts = co_await work.facts.ask();
    if (!facts) co_return facts.error();
    Intent intent{.act = Act::removeThere, .path = path, .oldHash = *hash};
    const Result<int64_t> id = co_await work.journal.note(std::move(intent));
    if (!id) co_return id.error();
    std::string url = work.url(path);
    const Guard guard = preferOwnLock(work.remote, url, guardOfRemoving(*facts));
    std::optional<Gate::Pass> alone;
    if (isLock(guard)) alone.emplace(co_await work.putter.locks().enter());
    const ThereState& there = work.there(path)->state;
    Resource seen = resourceOf(there);
    std::string young = hashIfYoung(work, there, *hash);
    Result<void> removed = co_await quillon::removeMember(work.remote, std::move(url),
                                                          std::move(seen), guard, std::move(young));
    if (!removed) {
        if (!mayBeDone(removed.error())) work.noteUndone(*id);
        co_return std::move(removed).error();
    }
    Deed deed = deedOf(work.run, Act::removeThere, path);
    deed.oldHash = *hash;
    work.noteDone(*id, std::move(deed));
    work.noteNode(path, std::nullopt);
    co_return Done{};
}

Task<Result<Done>> removeCollection(Work& work, std::string path) {
    const Result<ServerFacts> facts = co_await work.facts.ask();
    if (!facts) co_return facts.error();
    Intent intent{.act = Act::removeThere, .path = path};
    const Result<int64_t> id = co_await work.journal.note(std::move(intent));
    if (!id) co_return id.error();
    std::string url = work.url(path, true);
    Result<void> removed;
    if (facts->locks) {
        removed = co_await removeEmptyLocked(work, std::move(url));
    } else {
        std::string noLock;
        removed = co_await removeEmpty(work, std::move(url), std::move(noLock));
    }
    if (!removed) {
        work.noteUndone(*id);
        co_return std::move(removed).error();
    }
    Deed deed = deedOf(work.run, Act::removeThere, path);
    deed.isFolder = true;
    work.noteDone(*id, std::move(deed));
    work.noteNode(path, std::nullopt);
    co_return Done{};
}

}  // namespace quillon::sync
