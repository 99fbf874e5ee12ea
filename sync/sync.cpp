#include "sync/sync.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "client/tree/put_facts.hpp"
#include "sync/apply.hpp"
#include "sync/compare_contents.hpp"
#include "sync/copies.hpp"
#include "sync/foretell.hpp"
#include "sync/held_pair.hpp"
#include "sync/recover.hpp"
#include "sync/scan.hpp"
#include "sync/view_pair.hpp"
#include "sync/work.hpp"

namespace quillon::sync {
namespace {

constexpr int mostPlans = 4;        // of one run
constexpr size_t fewRemovals = 10;  // go without a question
constexpr int64_t runsKept = 100;

class Synchronising {
public:
    Synchronising(Remote& remote, Pair& pair, const SyncOptions& options, const LocalFolder& folder,
                  Store& store)
        : remote_(remote),
          pair_(pair),
          options_(options),
          folder_(folder),
          store_(store),
          facts_(remote, pair.url()),
          putter_(remote, facts_, {Links::left, nullptr, options.meter}) {}

    Task<Result<SyncEnd>> run() {
        const Result<Recovered> recovered = recoverUnlessDry();
        if (!recovered) co_return recovered.error();
        Result<void> done;
        for (int count = 0; count < mostPlans && needsMore_ && done; ++count) {
            done = co_await runOnce(*recovered, count == 0);
        }
        for (const SyncEvent& each : waiting_) options_.tell(each);
        if (!done) co_return std::move(done).error();
        if (options_.meter) options_.meter->expectNoMore();
        end_.failures += recovered->left.size() + mishaps_;
        co_return end_;
    }

private:
    Result<Recovered> recoverUnlessDry() {
        if (options_.dryRun) return lookAtIntents(pair_.state());
        Result<Recovered> recovered = recover(folder_, pair_.state(), store_, LateRun::itsOwn);
        if (!recovered) return recovered;
        for (const LateFile& each : recovered->writtenLate) {
            options_.remark(
                fmt::format("Somebody wrote into the old version of {} after it was "
                            "replaced; that is kept, and quillon undo gives it back.",
                            each.path));
        }
        for (const std::string& sentence : recovered->left) options_.remark(sentence);
        return recovered;
    }

    Task<Result<void>> runOnce(const Recovered& recovered, bool isFirst) {
        needsMore_ = false;
        end_.conflicts = end_.failures = 0;
        Result<View> view = co_await viewPair(&remote_, pair_, folder_, !options_.dryRun);
        if (!view) co_return std::move(view).error();
        if (Result<void> noted = giveUpCopies(*view); !noted) co_return std::move(noted);
        readChanged(folder_, view->trees, Young::isWaitedFor);
        adoptHalfMade(recovered, view->trees);
        knowVersions(view->versions, view->trees.there, false);
        if (remote_.isInterrupted()) co_return interruption();
        HeldBack heldBack;
        Result<Plan> plan = choosePlan(*view, heldBack);
        for (int again = 0; plan && !options_.dryRun && again < mostPlans; ++again) {
            const std::vector<std::string> paths = pathsToCompare(*plan);
            if (paths.empty()) break;
            takeBack(*view, *plan);
            Result<void> compared = co_await compare(paths, view->trees);
            if (!compared) co_return std::move(compared);
            plan = choosePlan(*view, heldBack);
        }
        if (!plan) co_return std::move(plan).error();
        view->trees = {};
        keepHolders(*plan, view->holdersHere, view->holdersThere);
        if (Result<void> told = tellOfHolders(*view); !told) co_return std::move(told);
        if (!heldBack.why.empty() && !std::exchange(end_.leftRemovals, true)) {
            options_.remark(fmt::format("Nothing is removed, since {}.{}", heldBack.why,
                                        heldBack.mayBeMeant
                                            ? " If that is meant to be so, the same command with "
                                              "--delete-many removes it."
                                            : ""));
        }
        if (options_.dryRun) {
            const PlanOptions its{options_.direction, heldBack.why.empty(), mayMove_};
            co_return tellPlan(foretell(std::move(*plan), its));
        }
        if (isFirst && options_.confirm && !options_.confirm(*plan)) {
            end_.isDeclined = true;
            co_return Result<void>();
        }
        co_return co_await apply(std::move(*plan), *view, recovered);
    }

    // Before anything is noted of them: no run may take them away with their conflicts.
    Result<void> giveUpCopies(View& view) const {
        if (options_.dryRun || view.storedCopies.empty()) return {};
        StateChange change;
        change.goneCopies = view.storedCopies;
        return pair_.state().commit(change);
    }

    Result<void> tellOfHolders(const View& view) const {
        const auto tellOf = [this](std::string_view where) {
            return [this, where](const std::string& path) {
                options_.remark(
                    fmt::format("{}/ stays {}, for it holds what is left out. Remove it "
                                "yourself if it is to go, too.",
                                path, where));
            };
        };
        State& state = pair_.state();
        const bool isNoted = !options_.dryRun;
        Result<void> told =
            tellStaying(state, "staying", view.holdersHere.staying, isNoted, tellOf("here"));
        if (!told) return told;
        return tellStaying(state, "staying there", view.holdersThere.staying, isNoted,
                           tellOf("on the server"));
    }

    Task<Result<void>> compare(std::vector<std::string> paths, Trees& trees) {
        const auto urlOfPath = [this, &trees](const std::string& path) {
            return urlOf(pair_.url(), trees.there, path, false);
        };
        co_return co_await compareContents(remote_, std::move(paths), trees, urlOfPath,
                                           options_.meter);
    }

    // Why nothing is removed; empty: nothing speaks against that. A person's word may end it.
    struct HeldBack {
        std::string why{};
        bool mayBeMeant = false;
    };

    // Without removals where what is gone may not be meant to be gone. heldBack: where there would
    // be some.
    Result<Plan> choosePlan(View& view, HeldBack& heldBack) const {
        Result<HeldBack> why = whyNoRemovals(view);
        if (!why) return std::move(why).error();
        heldBack = {};
        PlanOptions options{options_.direction, true, mayMove_};
        Plan plan = planOf(view, options);
        const bool removes = std::ranges::any_of(plan.actions, [](const Action& each) {
            return each.act == Act::removeHere || each.act == Act::removeThere;
        });
        if (why->why.empty()) why = HeldBack{whyTooMany(plan, removes), true};
        if (why->why.empty()) return plan;
        if (removes) heldBack = std::move(*why);
        options.mayRemove = false;
        takeBack(view, plan);
        return planOf(view, options);
    }

    // A plan in which nothing can have been moved leaves the trees as they are: it gets them
    // themselves, for a copy of many files is large.
    static Plan planOf(View& view, const PlanOptions& options) {
        const bool mayHaveMoved = std::ranges::any_of(view.trees.base, [&](const auto& each) {
            return !view.trees.here.contains(each.first) || !view.trees.there.contains(each.first);
        });
        if (mayHaveMoved) return makePlan(view.trees, options);
        Plan plan = makePlan(std::move(view.trees), options);
        view.isLent = true;
        return plan;
    }
    static void takeBack(View& view, Plan& plan) {
        if (std::exchange(view.isLent, false)) view.trees = std::move(plan.trees);
    }

    // Empty: they are not.
    std::string whyTooMany(const Plan& plan, bool removes) const {
        if (options_.removesMany || !removes) return {};
        if (plan.trees.here.empty()) return "the folder is empty";
        if (plan.trees.there.empty()) return "the collection is empty";
        if (plan.removals <= fewRemovals || plan.removals * 2 <= plan.known) return {};
        return fmt::format("{} of {} files would go", plan.removals, plan.known);
    }

    // Whatever the plan.
    Result<HeldBack> whyNoRemovals(const View& view) const {
        if (!view.unseen.empty()) return HeldBack{view.unseen + " could not be seen"};
        const Result<std::optional<std::string>> filter = pair_.state().setting("filter");
        if (!filter) return filter.error();
        if (*filter && **filter != view.filterText) {
            return HeldBack{
                "what is left out is chosen otherwise than last time; the next run removes"};
        }
        const Result<std::optional<std::string>> server = pair_.state().setting("server");
        if (!server) return server.error();
        if (!options_.removesMany && *server && **server != view.server) {
            return HeldBack{
                fmt::format("the server calls itself {} now, and called itself {} last time",
                            view.server.empty() ? "nothing" : view.server,
                            (*server)->empty() ? "nothing" : **server),
                true};
        }
        return HeldBack{};
    }

    Result<void> tellPlan(const Plan& plan) {
        for (const Action& each : plan.actions) {
            SyncEvent event{each.act, each.path, each.from, each.isFolder};
            event.conflict = each.conflict;
            if (each.act == Act::blocked) event.error = localError(Kind::local, each.why);
            if (each.act == Act::conflict) ++end_.conflicts;
            if (each.act == Act::blocked) ++end_.failures;
            options_.tell(event);
        }
        return {};
    }

    Task<Result<void>> apply(Plan plan, const View& view, const Recovered& recovered) {
        Result<std::map<std::string, Failed>> earlier = earlierFailures(plan);
        if (!earlier) co_return std::move(earlier).error();
        if (!plan.actions.empty() && run_ == 0) {
            const Result<int64_t> run = pair_.state().beginRun(timeNow());
            if (!run) co_return run.error();
            run_ = *run;
        }
        Journal journal(remote_.loop(), pair_.state(), folder_);
        Work work{remote_, pair_,  folder_,  store_, journal,
                  putter_, facts_, options_, run_,   view.asked};
        work.trees = std::move(plan.trees);
        plan.trees = {};
        Result<Applied> applied = co_await applyPlan(work, plan, std::move(*earlier));
        waiting_ = std::move(work.waiting);
        if (!applied) co_return std::move(applied).error();
        end_.conflicts =
            static_cast<size_t>(std::ranges::count(waiting_, Act::conflict, &SyncEvent::act));
        end_.failures = applied->failures;
        mishaps_ += applied->mishaps;
        needsMore_ =
            (plan.needsMore && !applied->removalFailed) || (applied->moveFailed && mayMove_);
        if (applied->moveFailed) mayMove_ = false;
        Result<void> finished = noteCompared(plan, work.trees.there, view);
        if (finished) finished = finish(plan, view);
        co_return finished ? endHalfMade(recovered, plan, work.trees.there) : std::move(finished);
    }

    // By their paths. What the plan has no action for has been mended.
    Result<std::map<std::string, Failed>> earlierFailures(const Plan& plan) {
        const Result<std::vector<Failed>> failures = pair_.state().failures();
        if (!failures) return failures.error();
        std::set<std::string> paths;
        for (const Action& each : plan.actions) paths.insert(each.path);
        std::map<std::string, Failed> earlier;
        StateChange mended;
        for (const Failed& each : *failures) {
            if (paths.contains(each.path)) {
                earlier.emplace(each.path, each);
            } else {
                mended.mended.push_back(each.path);
            }
        }
        if (mended.mended.empty()) return earlier;
        if (Result<void> noted = pair_.state().commit(mended); !noted) {
            return std::move(noted).error();
        }
        return earlier;
    }

    // Else a conflict would be fetched anew by each run, and status could not tell it.
    Result<void> noteCompared(const Plan& plan, const ThereTree& there, const View& view) {
        const Result<std::vector<KnownVersion>> before = pair_.state().compared();
        if (!before) return before.error();
        const std::vector<KnownVersion> left = comparedAndLeft(plan, there, view.asked);
        return *before == left ? Result<void>() : pair_.state().setCompared(left);
    }

    Result<void> finish(const Plan& plan, const View& view) {
        State& state = pair_.state();
        if (Result<void> cleared = clearCopies(plan); !cleared) return cleared;
        if (Result<void> forgotten = forget(view.leftOut); !forgotten) return forgotten;
        for (const auto& [name, value] :
             {std::pair<const char*, const std::string*>{"filter", &view.filterText},
              {"server", &view.server}}) {
            const Result<std::optional<std::string>> before = state.setting(name);
            if (!before) return before.error();
            if (*before && **before == *value) continue;
            // Another server is believed once a person has said so.
            const bool isOther = std::string_view(name) == "server" && *before;
            if (isOther && !options_.removesMany) continue;
            if (Result<void> written = state.set(name, *value); !written) return written;
        }
        if (run_ == 0) return {};
        store_.prune(view.asked);
        return state.forgetRuns(runsKept);
    }

    // What was to be done and is not noted may be half made still, where there is nothing more than
    // its empty beginning.
    Result<void> endHalfMade(const Recovered& recovered, const Plan& plan, const ThereTree& there) {
        StateChange change;
        for (const Intent& each : recovered.halfMade) {
            const bool wasPlanned = std::ranges::any_of(
                plan.actions, [&](const Action& action) { return action.path == each.path; });
            const Result<std::optional<BaseNode>> node = pair_.state().node(each.path);
            if (!node) return node.error();
            const auto now = there.find(each.path);
            const bool isOther = now != there.end() && now->second.state.size.value_or(0) > 0;
            if (*node || !wasPlanned || isOther) change.endedIntents.push_back(each.id);
        }
        return change.isEmpty() ? Result<void>() : pair_.state().commit(change);
    }

    // Who removes it on one side, and then takes it again, does not mean the other side.
    Result<void> forget(const std::vector<std::string>& paths) {
        StateChange change;
        for (const std::string& path : paths) change.nodes.emplace_back(path, std::nullopt);
        return change.isEmpty() ? Result<void>() : pair_.state().commit(change);
    }

    // Of conflicts that are no more. One that the person changed is a file like others from now on.
    Result<void> clearCopies(const Plan& plan) {
        const Result<std::vector<ConflictCopy>> copies = pair_.state().copies();
        if (!copies) return copies.error();
        if (copies->empty()) return {};
        std::set<std::string> conflicts;
        for (const Action& each : plan.actions) {
            if (each.act == Act::conflict || each.act == Act::blocked) conflicts.insert(each.path);
        }
        StateChange change;
        for (const ConflictCopy& each : *copies) {
            if (conflicts.contains(each.path)) continue;
            if (Result<void> gone = removeCopy(folder_, store_, each, change); !gone) return gone;
        }
        return change.isEmpty() ? Result<void>() : pair_.state().commit(change);
    }

    Remote& remote_;
    Pair& pair_;
    const SyncOptions& options_;
    const LocalFolder& folder_;
    Store& store_;
    PutFactsOnce facts_;
    FilePutter putter_;
    int64_t run_ = 0;  // 0: nothing was to be done so far
    bool mayMove_ = true;
    bool needsMore_ = true;
    size_t mishaps_ = 0;
    std::vector<SyncEvent> waiting_;  // as the last plan left them
    SyncEnd end_;
};

}  // namespace

Task<Result<SyncEnd>> synchronise(Remote& remote, Pair& pair, const SyncOptions& options) {
    Result<HeldPair> held = HeldPair::open(pair, options.limits);
    if (!held) co_return std::move(held).error();
    Synchronising synchronising(remote, pair, options, held->folder, held->store);
    co_return co_await synchronising.run();
}

Result<Plan> planPair(Remote* remote, Pair& pair) {
    const Result<LocalFolder> folder = openFolder(pair);
    if (!folder) return folder.error();
    Result<View> view = localError(Kind::local, {});
    if (remote) {
        view = remote->run(viewPair(remote, pair, *folder, false));
    } else {
        Task<Result<View>> viewing = viewPair(nullptr, pair, *folder, false);
        viewing.start();  // asks nothing, and so waits for nothing
        view = viewing.take();
    }
    if (!view) return std::move(view).error();
    const Result<Recovered> intents = lookAtIntents(pair.state());
    if (!intents) return intents.error();
    readChanged(*folder, view->trees, Young::isRead);
    adoptHalfMade(*intents, view->trees);
    knowVersions(view->versions, view->trees.there, true);
    return makePlan(std::move(view->trees), {Direction::both, view->unseen.empty()});
}

}  // namespace quillon::sync
