#include "cli/commands/move/transfer.hpp"

#include <fmt/format.h>

#include <memory>
#include <optional>
#include <utility>

#include "cli/commands/change/named_lock.hpp"
#include "cli/commands/move/placements.hpp"
#include "cli/session/servers.hpp"
#include "cli/terminal/process.hpp"
#include "cli/terminal/report.hpp"
#include "client/remote/change.hpp"
#include "client/tree/between.hpp"
#include "client/tree/copy_tree.hpp"
#include "platform/text/url.hpp"

namespace quillon::cli {
namespace {

// COPY or MOVE of what is on one server.
Task<> carryWithin(Remote& remote, Deed deed, Overwrite overwrite, Conditions conditions,
                   Placement* placement) {
    Result<void> done = co_await transferTold(remote, deed, placement->source.address,
                                              placement->to, overwrite, conditions);
    if (!done) placement->error = std::move(done).error();
}

class Transfer {
public:
    Transfer(Session& session, Deed deed, TransferOptions& options)
        : session_(session),
          deed_(deed),
          options_(options),
          overwrite_(options.force ? Overwrite::yes : Overwrite::no),
          servers_(session.servers()),
          teller_(session, deed, options.telling) {}

    int run() {
        session_.progress().setSilent(options_.telling.quiet);
        std::optional<std::vector<Placement>> found =
            findPlacements(session_, deed_, options_, teller_);
        if (!found) return teller_.code();
        std::vector<Placement> placements = std::move(*found);
        const std::optional<NamedLock> lock = nameLock(placements);
        if (teller_.code() != exitDone && !options_.token.empty()) return teller_.code();
        if (options_.telling.dryRun) {
            for (const Placement& each : placements) plan(each);
        } else {
            carryAll(placements);
        }
        teller_.sumUp();
        return teller_.code();
    }

private:
    Error advised(Error error) const {
        return options_.force ? error : withForceAdvice(deed_, std::move(error));
    }

    void plan(const Placement& placement) {
        const Source& source = placement.source;
        const bool toldWhole = !source.isCollection || isSameServer(source.address, placement.to);
        if (toldWhole) {
            return teller_.tell(
                {teller_.attempt(), source.address.url(), placement.to.url(), source.size});
        }
        copyTreeOf(placement, {});
    }

    std::optional<NamedLock> nameLock(const std::vector<Placement>& placements) {
        if (options_.token.empty() || placements.empty()) return {};
        const Source& source = placements.front().source;
        if (source.isCollection) {
            teller_.fail(
                source.address,
                localError(Kind::usage, "This is a collection: --token is a member's lock."));
            return {};
        }
        Result<NamedLock> named = NamedLock::make(session_, source.address, options_.token);
        if (named) return std::move(*named);
        teller_.fail(source.address, named.error());
        return {};
    }

    // What goes through this machine, in one line but for a single member, which has its name.
    void expectTransfers(const std::vector<Placement>& placements) {
        size_t trees = 0;
        std::vector<uint64_t> sizes;
        for (const Placement& each : placements) {
            if (isSameServer(each.source.address, each.to)) continue;
            if (each.source.isCollection) {
                ++trees;
            } else {
                sizes.push_back(each.source.size.value_or(0));
            }
        }
        if (trees == 0 && sizes.size() < 2) return;
        session_.progress().startAll({}, trees + 1);
        for (const uint64_t size : sizes) session_.progress().expect(size);
        session_.progress().expectNoMore();
    }

    void carryAll(std::vector<Placement>& placements) {
        expectTransfers(placements);
        carryEach(placements);
        session_.progress().finishAll();
    }

    void carryEach(std::vector<Placement>& placements) {
        std::vector<Placement*> together;
        for (Placement& each : placements) {
            if (teller_.isInterrupted()) return;
            if (isSameServer(each.source.address, each.to)) {
                together.push_back(&each);
            } else {
                carryOver(each);
            }
        }
        if (options_.force) settleReplaced(together);
        changeAll(together);
    }

    // What --force may not replace, and collections that are completed member by member.
    void settleReplaced(std::vector<Placement*>& placements) {
        std::vector<Address> places;
        places.reserve(placements.size());
        for (const Placement* each : placements) places.push_back(each->to.asMember());
        const auto found = servers_.look(places);
        std::vector<Placement*> left;
        for (size_t i = 0; i < placements.size(); ++i) {
            Placement& each = *placements[i];
            if (!found[i]) {
                teller_.fail(each.source.address, found[i].error());
            } else if (*found[i] && ((*found[i])->isCollection || each.source.isCollection)) {
                settleCollection(each, (*found[i])->isCollection);
            } else {
                left.push_back(&each);
            }
        }
        placements = std::move(left);
    }

    // A server would remove all that is in the old one first (RFC 4918, 9.8.4).
    void settleCollection(Placement& placement, bool isThere) {
        if (deed_ == Deed::copy && isThere && placement.source.isCollection) {
            completeCollection(placement);
            return;
        }
        teller_.fail(
            placement.source.address,
            localError(Kind::refused, fmt::format("{} is {}, which --force does not replace.",
                                                  placement.to.asMember().url(),
                                                  isThere ? "a collection" : "a file")));
    }

    void completeCollection(const Placement& placement) {
        const Result<Remote*> remote = servers_.of(placement.to);
        if (!remote) return teller_.fail(placement.to, remote.error());
        copyTreeOf(
            placement,
            [&](const Resource&, const std::string& from, const std::string& to,
                Parent parent) -> Result<void> {
                if (parent == Parent::existing) {
                    const auto may = lookBefore(**remote, to, Overwrite::yes);
                    if (!may) return may.error();
                }
                return (*remote)->run(transferOne(**remote, Deed::copy, from, to, Overwrite::yes));
            });
    }

    // Copies go together. Moves go one after the other: some servers confuse the locks that they
    // have to carry along when several go at the same time.
    void changeAll(const std::vector<Placement*>& placements) {
        if (placements.empty()) return;
        const Result<Remote*> known = servers_.of(placements.front()->to);
        if (!known) return teller_.fail(placements.front()->source.address, known.error());
        Remote& remote = **known;
        if (deed_ == Deed::copy) {
            TaskGroup group(remote.loop());
            for (Placement* each : placements) {
                group.spawn(carryWithin(remote, deed_, overwrite_, unconditional, each));
            }
            remote.run(finishAll(group));
        }
        for (Placement* each : placements) {
            if (teller_.isInterrupted()) return;
            if (deed_ == Deed::move) moveWithin(remote, *each);
            if (each->error) {
                const std::string from = each->source.address.url();
                teller_.fail(from, withLocksWithin(session_.leftWork(), from, *each->error));
            } else {
                teller_.tell({teller_.done(), each->source.address.url(), each->to.url(),
                              each->source.size});
            }
        }
    }

    void moveWithin(Remote& remote, Placement& placement) {
        const Address& from = placement.source.address;
        Conditions conditions;
        const auto locked = session_.lockedMember(from);
        if (locked) conditions.lockToken = locked->lockToken();
        remote.run(carryWithin(remote, deed_, overwrite_, conditions, &placement));
        if (placement.error || !locked) return;
        locked->abandonLock();  // it stayed with the old name (RFC 4918, 7.6)
        session_.forgetLocked(from);
    }

    // Between two servers.
    void carryOver(const Placement& placement) {
        const auto source = servers_.openAnother(placement.source.address);
        if (!source) return teller_.fail(placement.source.address, source.error());
        const Result<Remote*> destination = servers_.of(placement.to);
        if (!destination) return teller_.fail(placement.to, destination.error());
        Between between(**source, **destination, overwrite_);
        std::vector<CopiedMember> copied;
        const auto copyMember = [&](const Resource& member, const std::string& from,
                                    const std::string& to, Parent parent) -> Result<void> {
            session_.progress().start(vxhost::decodeSegment(member.segment));
            Result<CopiedMember> one = between.copy(from, member.size, to, parent);
            Result<void> same;
            if (one && deed_ == Deed::move) same = between.verify(*one);
            session_.progress().finish();
            if (!one) return std::move(one).error();
            if (same && deed_ == Deed::move) copied.push_back(std::move(*one));
            return same;
        };
        const Address& from = placement.source.address;
        if (placement.source.isCollection) {
            const bool complete = copyTreeOf(placement, copyMember, &session_.progress());
            if (complete) removeSources(between, copied);
            return;
        }
        Resource member;
        member.segment = from.segment();
        member.size = placement.source.size;
        Result<void> done = copyMember(member, from.url(), placement.to.url(), Parent::existing);
        session_.progress().countDone();
        if (!done) return teller_.fail(from, advised(std::move(done).error()));
        if (deed_ == Deed::copy) {
            teller_.tell({"copied", from.url(), placement.to.url(), member.size});
        }
        removeSources(between, copied);
    }

    // Gives whether all of it was copied.
    bool copyTreeOf(const Placement& placement, decltype(TreeCopy::copyMember) copyMember,
                    TransferMeter* meter = nullptr) {
        const Result<Remote*> source = servers_.of(placement.source.address);
        const Result<Remote*> destination = servers_.of(placement.to);
        if (!source || !destination) {
            teller_.fail(placement.to, !source ? source.error() : destination.error());
            return false;
        }
        collections_.clear();
        const bool isDry = options_.telling.dryRun;
        const TreeCopy tree{
            **source, **destination,         overwrite_,
            isDry,    std::move(copyMember), [&](const TreeStep& step) { tell(step); },
            meter};
        const bool complete = copyTree(tree, placement.source.address.url(), placement.to.url());
        if (!complete && !isDry) {
            complain(fmt::format("{} {}; {}", placement.source.address.url(),
                                 deed_ == Deed::move
                                     ? "was left whole, since not all of it was copied"
                                     : "was not copied whole",
                                 howToGoOn(placement)));
        }
        return complete;
    }

    // Into what is there now the same words would copy once more, beside what came.
    static std::string howToGoOn(const Placement& placement) {
        const Address from = placement.source.address.asMember(), to = placement.to.asMember();
        return from.segment() == to.segment()
                   ? fmt::format("--force, into {}, goes on", to.parent().url())
                   : fmt::format("remove {} before you copy it again", placement.to.url());
    }

    void tell(const TreeStep& step) {
        if (step.error) {
            return teller_.fail(step.from, advised(*step.error));
        }
        const bool isDry = options_.telling.dryRun;
        if (step.isCollection) collections_.push_back(step.from);
        const std::string_view copied = isDry ? "copy" : "copied";
        teller_.tell({step.isCollection ? (isDry ? "make" : "made") : copied, step.from, step.to,
                      step.size});
    }

    void removeSources(Between& between, const std::vector<CopiedMember>& copied) {
        if (deed_ == Deed::copy) return;
        bool areAllGuarded = true;
        for (const CopiedMember& each : copied) {
            const Result<Between::Removed> removed = between.removeSource(each);
            if (!removed) {
                teller_.fail(each.from, removed.error());
                if (teller_.isInterrupted()) return;
                continue;
            }
            areAllGuarded = areAllGuarded && removed->isGuarded;
            teller_.tell({"moved", each.from, each.to, each.size});
        }
        // The innermost are told last.
        for (auto url = collections_.rbegin(); url != collections_.rend(); ++url) {
            const Result<void> removed = between.removeEmptied(*url);
            if (!removed) teller_.fail(*url, removed.error());
            if (teller_.isInterrupted()) return;
        }
        if (areAllGuarded) return;
        complain(
            "the source's server has neither locks nor strong entity tags: a change that "
            "somebody made while it was removed could not have been noticed");
    }

    Session& session_;
    const Deed deed_;
    TransferOptions& options_;
    const Overwrite overwrite_;
    Servers& servers_;
    TransferTeller teller_;
    std::vector<std::string> collections_;  // of the tree that was copied last
};

}  // namespace

int transfer(Session& session, Deed deed, TransferOptions& options) {
    // In a shell --match has a collection without one.
    if (options.operands.size() == 1 && session.base && !options.pattern.empty()) {
        options.operands.insert(options.operands.begin(), std::string());
    }
    if (options.operands.size() < 2) {
        complain(fmt::format("{0} needs a URL and where it goes. See quillon {0} --help.",
                             deed == Deed::copy ? "cp" : "mv"));
        return exitUsage;
    }
    options.telling.isMany =
        options.recursive || options.operands.size() > 2 || !options.pattern.empty();
    return Transfer(session, deed, options).run();
}

}  // namespace quillon::cli
