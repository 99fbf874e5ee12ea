#include "sync/apply.hpp"

#include <algorithm>
#include <chrono>
#include <set>
#include <utility>

#include "sync/change_here.hpp"
#include "sync/change_there.hpp"
#include "sync/next_try.hpp"
#include "sync/scan.hpp"

namespace quillon::sync {
namespace {

constexpr size_t mostActionsAhead =
    256;                            // more than a group of the journal, which waits for all of them
constexpr size_t mostNotes = 1024;  // that wait in memory; what is not written waits on

bool isMake(Act act) {
    return act == Act::makeHere || act == Act::makeThere;
}
bool isMove(Act act) {
    return act == Act::moveHere || act == Act::moveThere;
}
bool isRemoval(Act act) {
    return act == Act::removeHere || act == Act::removeThere;
}
auto depthOf(const Action& action) {
    return std::ranges::count(action.path, '/');
}

class Applying {
public:
    Applying(Work& work, std::map<std::string, Failed> earlier)
        : work_(work),
          earlier_(std::move(earlier)),
          tasks_(work.remote.loop()),
          slots_(work.remote.loop(), mostActionsAhead) {}

    Task<Result<Applied>> run(const std::vector<Action>& actions) {
        co_await moveAndMake(actions);
        co_await moveContents(actions);
        if (!isEnded()) co_await removeAll(actions);
        Result<void> written = work_.journal.write();
        if (work_.remote.isInterrupted()) co_return interruption();
        if (!written) co_return std::move(written).error();
        co_return applied_;
    }

private:
    bool isEnded() const { return work_.remote.isInterrupted(); }

    // The trees have what is moved under its new path already. Where the move was not made, nothing
    // is true of that path and of what is below it, nor of what is below a folder that is not
    // there.
    bool isUndone(const std::string& path) const {
        for (size_t end = 0; end != path.npos;) {
            end = path.find('/', end + 1);
            if (undone_.contains(path.substr(0, end))) return true;
        }
        return false;
    }
    void leaveUndone(const Action& action) {
        if (action.isFolder || isMove(action.act)) undone_.insert(action.path);
        if (isRemoval(action.act)) applied_.removalFailed = true;
        if (action.act == Act::store) unstored_.insert(work_.here(action.path)->state.inode);
        if (action.act == Act::fetch) unfetched_.insert(work_.there(action.path)->state.tag.text);
    }

    // Whether what would go has another path by now, to which it could not be brought: it is all
    // that this side has of it.
    bool isLastOfSide(const Action& removal) const {
        const BaseNode* base = work_.base(removal.path);
        if (!base) return false;
        if (removal.act == Act::removeThere) return unstored_.contains(base->here.inode);
        const std::string& tag = base->there.tag.text;
        return !tag.empty() && unfetched_.contains(tag);
    }
    void leaveAlone(const Action& removal) {
        applied_.removalFailed = true;
        std::string path = removal.path;
        for (size_t end = path.size(); end != path.npos; end = path.rfind('/')) {
            path.resize(end);
            staying_.insert(path);
        }
    }

    SyncEvent eventOf(const Action& action) const {
        SyncEvent event{.act = action.act, .path = action.path, .from = action.from};
        event.isFolder = action.isFolder;
        event.conflict = action.conflict;
        return event;
    }

    void tellFailure(const Action& action, Error error) {
        leaveUndone(action);
        if (error.kind == Kind::interrupted) return;
        if (isMove(action.act)) {  // which the next plan of this run does otherwise
            applied_.moveFailed = true;
            return;
        }
        ++applied_.failures;
        Failed failed{action.path, error.sentences.front()};
        const auto before = earlier_.find(action.path);
        // What somebody changed meanwhile is another matter the next time.
        const bool isOther = error.kind == Kind::changedHere || error.kind == Kind::changedOnServer;
        if (!isOther) failed.times = before == earlier_.end() ? 1 : before->second.times + 1;
        failed.notBefore = nextTry(failed.times, timeNow());
        work_.journal.next().failures.push_back(std::move(failed));
        SyncEvent event = eventOf(action);
        event.error = std::move(error);
        event.isFailed = true;
        work_.options.tell(event);
    }

    void tellDone(const Action& action, Done done) {
        if (earlier_.contains(action.path)) work_.journal.next().mended.push_back(action.path);
        SyncEvent event = eventOf(action);
        if (done.size > 0) event.size = done.size;
        if (done.mishap) ++applied_.mishaps;
        event.error = done.mishap ? std::move(done.mishap) : std::move(done.remark);
        work_.options.tell(event);
    }

    // The last one of a file, on either side.
    Time changeOf(const std::string& path) const {
        Time changed{};
        const HereNode* here = work_.here(path);
        if (here && here->kind == NodeKind::file) {
            const std::chrono::nanoseconds since(here->state.changedNs);
            changed = Time(std::chrono::floor<Time::duration>(since));
        }
        const ThereNode* there = work_.there(path);
        if (!there || there->kind != NodeKind::file) return changed;
        return std::max(changed, there->state.modified.value_or(changed));
    }

    // Whether it is to be tried now.
    bool mayTry(const Action& action) {
        if (isUndone(action.path) || isUndone(action.from)) {
            ++applied_.failures;
            leaveUndone(action);
            return false;
        }
        const auto before = earlier_.find(action.path);
        if (before == earlier_.end() || !waits(before->second, timeNow(), changeOf(action.path))) {
            return true;
        }
        ++applied_.failures;
        leaveUndone(action);
        SyncEvent event = eventOf(action);
        event.error =
            localError(Kind::network,
                       "It is tried again later, since it failed before: " + before->second.why);
        event.isFailed = true;
        work_.options.tell(event);
        return false;
    }

    Task<Result<Done>> begin(const Action& action) {
        switch (action.act) {
            case Act::moveHere:
                return moveHere(work_, action.from, action.path);
            case Act::moveThere:
                return moveThere(work_, action.from, action.path, action.isFolder);
            case Act::makeHere:
                return makeFolder(work_, action.path);
            case Act::makeThere:
                return makeCollection(work_, action.path);
            case Act::fetch:
                return fetchFile(work_, action.path);
            case Act::store:
                return storeFile(work_, action.path);
            case Act::removeHere:
                return action.isFolder ? removeFolder(work_, action.path)
                                       : removeFile(work_, action.path);
            case Act::removeThere:
                return action.isFolder ? removeCollection(work_, action.path)
                                       : removeMember(work_, action.path);
            default:
                return nothingToDo();
        }
    }
    static Task<Result<Done>> nothingToDo() { co_return Done{}; }

    uint64_t bytesOf(const Action& action) const {
        if (action.act == Act::fetch) return work_.there(action.path)->state.size.value_or(0);
        if (action.act == Act::store) return work_.here(action.path)->state.size;
        return 0;
    }

    Task<> doOne(const Action& action) {
        const ExpectedTransfer expected(work_.options.meter, bytesOf(action));
        Result<Done> done = co_await begin(action);
        if (done) {
            tellDone(action, std::move(*done));
        } else {
            tellFailure(action, std::move(done).error());
        }
    }
    Task<> doBeside(const Action& action, Gate::Pass slot) {
        const Gate::Pass within = std::move(slot);
        const Journal::Worker worker(work_.journal);
        co_await doOne(action);
    }

    // All of them at the same time, in a window.
    Task<> doAll(std::vector<const Action*> actions) {
        {
            const Journal::Worker worker(work_.journal);  // so that groups get full
            for (const Action* each : actions) {
                if (isEnded()) break;
                if (!mayTry(*each)) continue;
                Gate::Pass slot = co_await slots_.enter();
                tasks_.spawn(doBeside(*each, std::move(slot)));
            }
        }
        co_await tasks_.finish();
    }

    // In their order, but for what stands side by side.
    Task<> moveAndMake(const std::vector<Action>& actions) {
        std::map<std::ptrdiff_t, std::vector<const Action*>> makes;  // by their depths
        for (const Action& each : actions) {
            if (isMake(each.act)) makes[depthOf(each)].push_back(&each);
            if (!isMove(each.act)) continue;
            co_await makeCollected(makes);
            std::vector<const Action*> alone{&each};
            co_await doAll(std::move(alone));
        }
        co_await makeCollected(makes);
    }
    Task<> makeCollected(std::map<std::ptrdiff_t, std::vector<const Action*>>& makes) {
        for (auto& [depth, level] : makes) co_await doAll(std::move(level));
        makes.clear();
    }

    Task<> moveContents(const std::vector<Action>& actions) {
        std::vector<const Action*> transfers;
        for (const Action& each : actions) {
            if (each.act == Act::fetch || each.act == Act::store) transfers.push_back(&each);
            if (isEnded()) co_return;  // perhaps before a move was made
            if (isUndone(each.path)) continue;
            if (each.act == Act::adopt) adopt(each);
            if (each.act == Act::forget) work_.noteNode(each.path, std::nullopt);
            if (each.act == Act::blocked || each.act == Act::compare) noteBlocked(each);
        }
        co_await doAll(std::move(transfers));
        for (const Action& each : actions) {
            const bool isTaken = each.act == Act::conflict && !isUndone(each.path);
            if (isTaken && !isEnded()) co_await takeConflict(each);
        }
    }

    void adopt(const Action& action) {
        BaseNode node{.kind = action.isFolder ? NodeKind::folder : NodeKind::file};
        node.here = work_.here(action.path)->state;
        node.there = work_.there(action.path)->state;
        if (!action.isFolder) {
            const std::string hash = work_.hashHere(action.path);
            const BaseNode* base = work_.base(action.path);
            // What the base proves is not doubted for being young.
            const bool isBase = base && !base->there.tag.text.empty() &&
                                base->there.tag.text == node.there.tag.text &&
                                base->here.hash == hash;
            if (!isBase) node.there = settled(node.there, work_.asked);
            node.here = settled(node.here);
            node.here.hash = node.there.hash = hash;
            if (const auto open = work_.folder.openForReading(action.path, Links::left)) {
                work_.store.keepCommon(*open, node.here.size, hash);
            }
        }
        work_.noteNode(action.path, std::move(node));
        if (work_.journal.next().nodes.size() >= mostNotes) (void)work_.journal.write();
        if (earlier_.contains(action.path)) work_.journal.next().mended.push_back(action.path);
        work_.options.tell(eventOf(action));
    }

    void noteBlocked(const Action& action) {
        ++applied_.failures;
        SyncEvent event = eventOf(action);
        event.error = localError(Kind::local, action.why);
        work_.waiting.push_back(std::move(event));
    }

    Task<> takeConflict(const Action& action) {
        SyncEvent event = eventOf(action);
        if (action.conflict != Conflict::kinds) {
            const Journal::Worker worker(work_.journal);
            Result<std::string> copy = co_await fetchCopy(work_, action.path);
            if (copy) {
                event.copy = std::move(*copy);
            } else {
                event.error = std::move(copy).error();
            }
        }
        work_.waiting.push_back(std::move(event));
    }

    // Leaves first: the files, then folders from the deepest on.
    Task<> removeAll(const std::vector<Action>& actions) {
        std::vector<const Action*> files;
        std::map<std::ptrdiff_t, std::vector<const Action*>, std::greater<>> folders;
        for (const Action& each : actions) {
            if (!isRemoval(each.act)) continue;
            if (!each.isFolder && isLastOfSide(each)) {
                leaveAlone(each);
            } else if (each.isFolder) {
                folders[depthOf(each)].push_back(&each);
            } else {
                files.push_back(&each);
            }
        }
        co_await doAll(std::move(files));
        for (auto& [depth, level] : folders) {
            std::erase_if(level,
                          [this](const Action* each) { return staying_.contains(each->path); });
            if (!isEnded()) co_await doAll(std::move(level));
        }
    }

    Work& work_;
    std::map<std::string, Failed> earlier_;
    TaskGroup tasks_;
    Gate slots_;
    std::set<std::string> undone_;     // paths of moves and folders
    std::set<uint64_t> unstored_;      // inodes
    std::set<std::string> unfetched_;  // tags
    std::set<std::string> staying_;    // files and folders that were to be removed
    Applied applied_;
};

}  // namespace

Task<Result<Applied>> applyPlan(Work& work, const Plan& plan,
                                std::map<std::string, Failed> earlier) {
    Applying applying(work, std::move(earlier));
    co_return co_await applying.run(plan.actions);
}

}  // namespace quillon::sync
