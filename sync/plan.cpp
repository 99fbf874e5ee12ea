// The rules. "same" and "changed" are against the base; gone: the base has it; new: it has not.
//
// clang-format off
//   here          there         what is done
//   -----------   -----------   ------------------------------------------------------------------
//   same          same          nothing; adopt where times, a tag or an id moved without the content
//   changed       same          store
//   same          changed       fetch
//   changed       changed       the same content: adopt; another: conflict; not known: compare
//   any or none   not certain   compare, and nothing else until the content is known
//   gone          same          removeThere
//   same          gone          removeHere
//   gone          changed       fetch: content wins
//   changed       gone          store: content wins
//   gone          gone          forget
//   new           none          store, or makeThere of a folder
//   none          new           fetch, or makeHere of a folder
//   new           new           files as where both changed; folders: adopt
//   folder        gone          after its members removeHere; where one stays for both sides or is
//   gone          folder        blocked, makeThere; mirrored: removeThere, makeHere
//   other kind    same          removeThere of all of it, and a second plan does the rest;
//   same          other kind    mirrored: removeHere
//   other kind    changed       conflict, as of a file and a folder without a base. A folder is
//   changed       other kind    changed where a member of it is changed, new or blocked
//   blocked       any           blocked: nothing at or below it is touched, no folder above it is
//   any           blocked       removed
// clang-format on
//
// What was moved on one side and is the same on the other is moved there (find_moves.cpp), and then
// planned under its new path. What the options forbid is left out, and what it would have changed
// is left as it is: a folder that keeps such a thing is neither removed nor made again.
#include "sync/plan.hpp"

#include <algorithm>
#include <string_view>
#include <utility>

#include "sync/find_moves.hpp"
#include "sync/judge_files.hpp"
#include "sync/plan_rows.hpp"

namespace quillon::sync {

namespace {

bool mayDo(Act act, const PlanOptions& options) {
    switch (act) {
        case Act::store:
        case Act::makeThere:
            return options.direction != Direction::pull;
        case Act::fetch:
        case Act::makeHere:
            return options.direction != Direction::push;
        case Act::removeThere:
            return options.direction != Direction::pull && options.mayRemove;
        case Act::removeHere:
            return options.direction != Direction::push && options.mayRemove;
        case Act::forget:  // what was not seen may be there still
            return options.mayRemove;
        default:
            return true;
    }
}

bool isOfKind(const auto* node, NodeKind kind) {
    return node && node->kind == kind;
}

bool isFolder(const auto* node) {
    return isOfKind(node, NodeKind::folder);
}

class Planner {
public:
    Planner(const Trees& trees, const PlanOptions& options, const Moves& moves)
        : options_(options), moves_(moves), rows_(mergeTrees(trees)) {}

    void planInto(Plan& plan) {
        weighSides();
        for (PlanRow& row : rows_) decide(row);
        settleFolders();
        addMoves(plan);
        for (PlanRow& row : rows_)
            if (isMake(row)) add(row, plan);
        for (PlanRow& row : rows_)
            if (!isRemoval(row)) add(row, plan);
        for (size_t i = rows_.size(); i-- > 0;) add(rows_[i], plan);
        plan.needsMore = needsMore_;
    }

private:
    void weighSides() {
        for (size_t i = rows_.size(); i-- > 0;) {  // members before their folder
            PlanRow& row = rows_[i];
            if (row.here && !(row.base && isUnchangedHere(*row.base, *row.here)))
                row.heldHere = Held::changed;
            if (row.there) row.heldThere = std::max(row.heldThere, holdsThere(row));
            if (row.parent == noRow) continue;
            PlanRow& parent = rows_[row.parent];
            parent.heldHere = std::max(parent.heldHere, row.heldHere);
            parent.heldThere = std::max(parent.heldThere, row.heldThere);
        }
    }

    static Held holdsThere(const PlanRow& row) {
        if (!row.base) return Held::changed;
        const auto isUnchanged = isUnchangedThere(*row.base, *row.there);
        if (!isUnchanged) return Held::unsure;
        return *isUnchanged ? Held::same : Held::changed;
    }

    void decide(PlanRow& row) {
        const Below above = row.parent == noRow ? Below::plan : rows_[row.parent].below;
        if (above == Below::plan) {
            decideAlone(row);
        } else {
            row.below = above;
            if (above == Below::removeOld) row.verdict.act = removalOf(row);
            if (above == Below::compare) compareIfUnsure(row);
        }
        if (row.verdict.act && !mayDo(*row.verdict.act, options_)) row.verdict.act.reset();
    }

    void decideAlone(PlanRow& row) {
        if (isOfKind(row.here, NodeKind::blocked) || isOfKind(row.there, NodeKind::blocked)) {
            row.verdict.act = Act::blocked;
            row.below = Below::leave;
        } else if (row.here && row.there) {
            decideBoth(row);
        } else if (row.here) {
            row.verdict.act = decideHere(row);
        } else if (row.there) {
            row.verdict.act = decideThere(row);
        } else {
            row.verdict.act = Act::forget;
        }
    }

    void decideBoth(PlanRow& row) {
        if (row.here->kind != row.there->kind) return decideKinds(row);
        if (row.here->kind == NodeKind::file) {
            row.verdict = judgeFiles(row.base, *row.here, *row.there);
        } else if (!isFolder(row.base) || isStale(*row.base, *row.here, *row.there)) {
            row.verdict.act = Act::adopt;
        }
    }

    // Of a file on one side and a folder on the other.
    void decideKinds(PlanRow& row) {
        row.below = Below::leave;
        const bool isOldHere = row.base && row.base->kind == row.here->kind;
        const Held held = isOldHere ? row.heldHere : row.heldThere;
        if (!row.base || held == Held::changed) {
            row.verdict = {Act::conflict, Conflict::kinds};
        } else if (held == Held::unsure) {
            row.below = Below::compare;
            compareIfUnsure(row);
        } else if (const Act act = isOldHere ? Act::removeHere : Act::removeThere;
                   mayDo(act, options_)) {
            row.verdict.act = act;
            needsMore_ = true;
            if (isFolder(row.base)) row.below = Below::removeOld;
        }
    }

    static void compareIfUnsure(PlanRow& row) {
        if (row.base && row.there && !isUnchangedThere(*row.base, *row.there))
            row.verdict.act = Act::compare;
    }

    static Act removalOf(const PlanRow& row) {
        if (row.here) return Act::removeHere;
        return row.there ? Act::removeThere : Act::forget;
    }

    static std::optional<Act> decideHere(const PlanRow& row) {
        if (row.here->kind == NodeKind::folder) {
            if (isFolder(row.base)) return std::nullopt;  // settleFolders()
            return Act::makeThere;
        }
        const bool isUnchanged = row.base && isUnchangedHere(*row.base, *row.here);
        return isUnchanged ? Act::removeHere : Act::store;
    }

    static std::optional<Act> decideThere(const PlanRow& row) {
        if (row.there->kind == NodeKind::folder) {
            if (isFolder(row.base)) return std::nullopt;  // settleFolders()
            return Act::makeHere;
        }
        if (!row.base) return Act::fetch;
        const auto isUnchanged = isUnchangedThere(*row.base, *row.there);
        if (!isUnchanged) return Act::compare;
        return *isUnchanged ? Act::removeThere : Act::fetch;
    }

    // What becomes of a folder that is gone on one side depends on what stays in it.
    void settleFolders() {
        for (size_t i = rows_.size(); i-- > 0;) {  // members before their folder
            PlanRow& row = rows_[i];
            if (row.below == Below::plan && isFolder(row.base)) {
                if (isFolder(row.here) && !row.there) settleFolder(row, true);
                if (isFolder(row.there) && !row.here) settleFolder(row, false);
            }
            if (row.parent == noRow) continue;
            PlanRow& parent = rows_[row.parent];
            parent.keepsHere |=
                isThereAfter(row.here, row, Act::removeHere, Act::makeHere, Act::fetch);
            parent.keepsThere |=
                isThereAfter(row.there, row, Act::removeThere, Act::makeThere, Act::store);
            parent.keepsBlocked |= row.keepsBlocked || row.verdict.act == Act::blocked;
        }
    }

    void settleFolder(PlanRow& row, bool isHere) {
        const bool keepsIt = isHere ? row.keepsHere : row.keepsThere;
        const bool isNeeded = row.keepsBlocked || (isHere ? row.keepsThere : row.keepsHere);
        if (keepsIt && !isNeeded) return;
        const Act removal = isHere ? Act::removeHere : Act::removeThere;
        const Act making = isHere ? Act::makeThere : Act::makeHere;
        const Act act = keepsIt ? making : removal;
        if (mayDo(act, options_)) row.verdict.act = act;
    }

    static bool isThereAfter(const void* node, const PlanRow& row, Act removal, Act making,
                             Act filling) {
        const auto& act = row.verdict.act;
        return node ? act != removal : act == making || act == filling;
    }

    static bool isMake(const PlanRow& row) {
        return row.verdict.act == Act::makeHere || row.verdict.act == Act::makeThere;
    }
    static bool isRemoval(const PlanRow& row) {
        return row.verdict.act == Act::removeHere || row.verdict.act == Act::removeThere;
    }

    void addMoves(Plan& plan) {
        for (const Action& move : moves_) {
            addFoldersAbove(move, plan);
            plan.actions.push_back(move);
        }
    }

    void addFoldersAbove(const Action& move, Plan& plan) {
        const Act making = move.act == Act::moveHere ? Act::makeHere : Act::makeThere;
        for (size_t end = move.path.find('/'); end != std::string::npos;
             end = move.path.find('/', end + 1)) {
            const size_t index = findRow(rows_, std::string_view(move.path).substr(0, end));
            if (index != noRow && rows_[index].verdict.act == making) add(rows_[index], plan);
        }
    }

    static std::string whyBlocked(const PlanRow& row) {
        if (isOfKind(row.here, NodeKind::blocked)) return row.here->why;
        return row.there ? row.there->why : "";
    }

    void add(PlanRow& row, Plan& plan) {
        if (!row.verdict.act || row.isDone) return;
        row.isDone = true;
        Action action{.act = *row.verdict.act, .path = *row.path, .conflict = row.verdict.conflict};
        if (row.here && action.act != Act::removeThere) {
            action.isFolder = isFolder(row.here);
        } else {
            action.isFolder = row.there ? isFolder(row.there) : isFolder(row.base);
        }
        if (action.act == Act::blocked) action.why = whyBlocked(row);
        if (action.act == Act::compare) action.path = pathBefore(moves_, *row.path);
        if (isRemoval(row) && !action.isFolder) ++plan.removals;
        plan.actions.push_back(std::move(action));
    }

    const PlanOptions& options_;
    const Moves& moves_;
    std::vector<PlanRow> rows_;
    bool needsMore_ = false;
};

}  // namespace

Plan makePlan(Trees trees, const PlanOptions& options) {
    Plan plan;
    plan.trees = std::move(trees);
    const Moves moves = findMoves(plan.trees, options);
    for (const auto& [path, node] : plan.trees.base)
        if (node.kind == NodeKind::file) ++plan.known;
    Planner(plan.trees, options, moves).planInto(plan);
    return plan;
}

}  // namespace quillon::sync
