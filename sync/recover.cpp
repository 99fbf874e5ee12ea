#include "sync/recover.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <optional>
#include <utility>

#include "client/tree/known_file.hpp"
#include "platform/files/content_hash.hpp"
#include "sync/replace_here.hpp"

namespace quillon::sync {
namespace {

std::string besideOf(const std::string& path, const std::string& name) {
    const size_t slash = path.rfind('/');
    return slash == path.npos ? name : path.substr(0, slash + 1) + name;
}

// That quillon undo can give back over what is here now.
Deed lateDeed(const LocalFolder& folder, const LateFile& late, int64_t run) {
    std::string now = hashOf(folder, late.path, Links::left);
    const Act act = now.empty() ? Act::removeHere : Act::fetch;
    return deedOf(run, act, late.path, late.hash, std::move(now));
}

Result<void> noteWritten(const LocalFolder& folder, State& state, const std::vector<LateFile>& late,
                         LateRun its, StateChange& change) {
    if (late.empty()) return {};
    const Result<int64_t> run =
        its == LateRun::itsOwn ? state.beginRun(timeNow()) : state.lastRun();
    if (!run) return run.error();
    for (const LateFile& each : late) change.deeds.push_back(lateDeed(folder, each, *run));
    return {};
}

bool mayBeHalfMade(const Intent& intent) {
    return intent.act == Act::store && intent.oldHash.empty();
}

class Recovering {
public:
    Recovering(const LocalFolder& folder, Store& store, int64_t run)
        : folder_(folder), store_(store), run_(run) {}

    void take(const Intent& intent) {
        if (!intent.hidden.empty()) {
            for (const std::string& name : {intent.hidden, intent.hidden + "-old"}) {
                if (isTakenAlready(intent, name)) continue;
                if (Result<void> taken = takeHidden(intent, name); !taken) {
                    leave(intent, name, taken.error());
                }
            }
        }
        const std::optional<bool> done = wasDone(intent);
        if (done.value_or(true)) noteDeed(intent, done.has_value());
        if (mayBeHalfMade(intent)) {
            halfMade_.push_back(intent);
        } else {
            change_.endedIntents.push_back(intent.id);
        }
    }
    std::vector<std::string>& left() { return left_; }
    StateChange& change() { return change_; }
    std::vector<Intent>& halfMade() { return halfMade_; }

private:
    // By a run that did not get to note it. One that is hidden still was not copied to its end.
    bool isTakenAlready(const Intent& intent, const std::string& name) {
        const auto hidden = folder_.look(besideOf(intent.path, name));
        if (!store_.hasLate(name) || !hidden || *hidden) return false;
        change_.late.push_back({name, intent.path, intent.oldHash, 0, 0});
        return true;
    }

    // The old file, or a new one that did not get its name, which the server has.
    Result<void> takeHidden(const Intent& intent, const std::string& name) {
        const std::string path = besideOf(intent.path, name);
        const Result<FileHere> found = readFileHere(folder_, path);
        if (!found) return found.error();
        if (!found->entry || found->entry->kind != LocalKind::file) return {};
        const std::string& hash = found->hash;
        if (!intent.newHash.empty() && hash == intent.newHash && hash != intent.oldHash) {
            return folder_.removeFile(path, *found->entry);
        }
        return folder_.takeFile(path, takeInto(store_, intent.path, *found, change_));
    }

    // Until the next run, for the rest need not wait for room in the store.
    void leave(const Intent& intent, const std::string& name, const Error& why) {
        change_.intents.push_back({.act = Act::removeHere, .path = intent.path, .hidden = name});
        left_.push_back(fmt::format("The old version of {} waits in {}: {}", intent.path,
                                    besideOf(intent.path, name), why.sentences.front()));
    }

    // Nothing: only the server knows.
    std::optional<bool> wasDone(const Intent& intent) const {
        if (intent.act == Act::fetch) {
            return hashOf(folder_, intent.path, Links::left) == intent.newHash;
        }
        if (intent.act == Act::removeHere) {
            const auto found = folder_.look(intent.path);
            return found && !*found;
        }
        if (intent.act == Act::store || intent.act == Act::removeThere) return std::nullopt;
        return false;  // nothing that could be given back
    }

    void noteDeed(const Intent& intent, bool isCertain) {
        if (intent.oldHash.empty()) return;
        Deed deed = deedOf(run_, intent.act, intent.path, intent.oldHash, intent.newHash);
        deed.isCertain = isCertain;
        change_.deeds.push_back(std::move(deed));
    }

    const LocalFolder& folder_;
    Store& store_;
    const int64_t run_;
    StateChange change_;
    std::vector<Intent> halfMade_;
    std::vector<std::string> left_;
};

// Late files become ordinary contents. Gives those into which somebody has written since, which are
// noted so that they can be given back.
Result<std::vector<LateFile>> settleLateFiles(const LocalFolder& folder, State& state, Store& store,
                                              LateRun its) {
    const Result<std::vector<LateFile>> late = state.late();
    if (!late) return late.error();
    if (late->empty()) return std::vector<LateFile>();
    CheckedLate outcome = store.checkLate(*late);
    StateChange checked;
    checked.goneLate = std::move(outcome.settled);
    Result<void> written = noteWritten(folder, state, outcome.changed, its, checked);
    if (!written) return std::move(written).error();
    if (Result<void> noted = state.commit(checked); !noted) return std::move(noted).error();
    return std::move(outcome.changed);
}

}  // namespace

Result<Recovered> recover(const LocalFolder& folder, State& state, Store& store, LateRun its) {
    Recovered recovered;
    const Result<std::vector<Intent>> intents = state.intents();
    if (!intents) return intents.error();
    if (!intents->empty()) {
        const Result<int64_t> run = state.lastRun();
        if (!run) return run.error();
        Recovering recovering(folder, store, *run);
        for (const Intent& each : *intents) recovering.take(each);
        if (Result<void> stored = folder.storeAll(); !stored) return std::move(stored).error();
        if (Result<void> noted = state.commit(recovering.change()); !noted) {
            return std::move(noted).error();
        }
        recovered.halfMade = std::move(recovering.halfMade());
        recovered.left = std::move(recovering.left());
    }
    // Behind that, for what a killed run took without noting it is late, too.
    Result<std::vector<LateFile>> written = settleLateFiles(folder, state, store, its);
    if (!written) return std::move(written).error();
    recovered.writtenLate = std::move(*written);
    return recovered;
}

Result<Recovered> lookAtIntents(const State& state) {
    Result<std::vector<Intent>> intents = state.intents();
    if (!intents) return std::move(intents).error();
    Recovered recovered;
    std::ranges::copy_if(*intents, std::back_inserter(recovered.halfMade), mayBeHalfMade);
    return recovered;
}

void adoptHalfMade(const Recovered& recovered, Trees& trees) {
    const std::string hashOfNothing = vxhost::ContentHash().hex();
    for (const Intent& each : recovered.halfMade) {
        const std::string& path = each.path;
        const auto there = trees.there.find(path);
        const auto here = trees.here.find(path);
        if (there == trees.there.end() || here == trees.here.end()) continue;
        const bool areFiles =
            there->second.kind == NodeKind::file && here->second.kind == NodeKind::file;
        if (!areFiles || there->second.state.size != 0 || trees.base.contains(path)) continue;
        there->second.state.hash = hashOfNothing;
        BaseNode nothing;
        nothing.here.hash = hashOfNothing;
        nothing.there = there->second.state;
        trees.base.emplace(path, std::move(nothing));
    }
}

}  // namespace quillon::sync
