#include "cli/commands/move/transfer.hpp"

#include <fmt/format.h>

#include <memory>
#include <optional>
#include <set>
#include <utility>

#include "cli/commands/change/named_lock.hpp"
#include "cli/commands/matching.hpp"
#include "cli/commands/move/placing.hpp"
#include "cli/session/servers.hpp"
#include "cli/terminal/process.hpp"
#include "cli/terminal/report.hpp"
#include "client/remote/change.hpp"
#include "client/tree/between.hpp"
#include "client/tree/copy_tree.hpp"
#include "platform/text/url.hpp"

namespace quillon::cli {
namespace {

struct Placement {
    Source source;
    Address to;
    std::optional<Error> error{};  // how it ended; nothing: well
};

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
          events_(options.telling.manner(session.options().verbosity > 0), session.progress()) {}

    int run() {
        session_.progress().setSilent(options_.telling.quiet);
        // In the order of the line: what it gives to open the way in is for its first URL.
        const std::vector<Address> named = parseSources();
        if (named.empty()) return code_;
        const std::optional<Place> place = findPlace();
        if (!place) return code_;
        const std::vector<Source> sources = findSources(named, *place);
        std::vector<Placement> placements = placeAll(sources, *place);
        const std::optional<NamedLock> lock = nameLock(placements);
        if (code_ != exitDone && !options_.token.empty()) return code_;
        if (options_.telling.dryRun) {
            for (const Placement& each : placements) plan(each);
        } else {
            carryAll(placements);
        }
        events_.sumUp();
        return code_;
    }

private:
    Error advised(Error error) const {
        return options_.force ? error : withForceAdvice(deed_, std::move(error));
    }
    std::string_view attempt() const { return deed_ == Deed::copy ? "copy" : "move"; }
    std::string_view done() const { return deed_ == Deed::copy ? "copied" : "moved"; }

    void fail(const Address& address, const Error& error) { fail(address.url(), error); }
    void fail(const std::string& url, const Error& error) {
        const int failed = report(attempt(), url, error);
        if (code_ == exitDone || failed == exitInterrupted) code_ = failed;
        if (failed == exitInterrupted) return;
        events_.tell({"failed", url, {}, {}, error.sentences.front()});
    }

    std::vector<Address> parseSources() {
        std::vector<Address> named;
        for (size_t i = 0; i + 1 < options_.operands.size(); ++i) {
            const Result<Address> address = parseUrl(session_, options_.operands[i]);
            if (address) {
                named.push_back(*address);
            } else if (code_ == exitDone) {
                code_ = exitCode(address.error().kind);
            }
        }
        return named;
    }

    std::optional<Place> findPlace() {
        const Result<Address> address = parseUrl(session_, options_.operands.back());
        options_.operands.pop_back();
        if (!address) {
            code_ = exitCode(address.error().kind);
            return {};
        }
        const auto found = servers_.look(*address);
        if (!found) {
            code_ = report(fmt::format("{} to", attempt()), address->url(), found.error());
            return {};
        }
        Place place{*address};
        if (*found) {
            place.there = (*found)->isCollection ? Place::There::collection : Place::There::member;
        }
        const bool several = options_.operands.size() > 1 || !options_.pattern.empty();
        if (!several || place.there == Place::There::collection) return place;
        const bool isFile = place.there == Place::There::member;
        code_ =
            report(fmt::format("{} to", attempt()), address->url(),
                   isFile ? localError(Kind::usage, "This is a file: several go into a collection.")
                          : localError(Kind::notFound,
                                       "The server has no such collection, which several "
                                       "go into. mkcol -p creates it."));
        return {};
    }

    std::vector<Source> findSources(const std::vector<Address>& named, const Place& place) {
        std::vector<Source> sources;
        std::vector<Address> asked;
        for (const Address& address : named) {
            if (options_.pattern.empty()) {
                asked.push_back(address);
            } else {
                addMatching(address, place, sources);
            }
        }
        const auto found = servers_.look(asked);
        for (size_t i = 0; i < asked.size(); ++i) {
            if (!found[i]) {
                fail(asked[i], found[i].error());
            } else if (!*found[i]) {
                fail(asked[i], localError(Kind::notFound, "There is nothing of this name."));
            } else {
                add(asked[i], (*found[i])->isCollection, (*found[i])->size, sources);
            }
        }
        return sources;
    }

    void addMatching(const Address& collection, const Place& place, std::vector<Source>& sources) {
        const auto takes = takesCollections() ? Collections::taken : Collections::left;
        const auto found = matchingMembers(session_, collection, options_.pattern, takes);
        if (!found) return fail(collection, found.error());
        for (const MatchedMember& member : *found) {
            // The place may be one of the collections that match.
            if (member.isCollection && isWithin(member.address, place.address)) continue;
            sources.push_back({member.address, member.isCollection, member.size});
        }
    }

    bool takesCollections() const { return deed_ == Deed::move || options_.recursive; }

    void add(const Address& address, bool isCollection, std::optional<uint64_t> size,
             std::vector<Source>& sources) {
        if (isCollection && !takesCollections()) {
            return fail(address, localError(Kind::usage,
                                            "This is a collection. -r copies it with all that is "
                                            "in it."));
        }
        if (!isCollection && !address.namesMember()) {
            return fail(address, localError(Kind::usage, "This is a file, not a collection."));
        }
        sources.push_back({isCollection ? address.asCollection() : address, isCollection, size});
    }

    std::vector<Placement> placeAll(const std::vector<Source>& sources, const Place& place) {
        std::vector<Placement> placements;
        std::set<std::string> taken;
        for (const Source& source : sources) {
            const Result<Address> to = placeFor(source, place);
            if (!to) {
                fail(source.address, to.error());
            } else if (!taken.insert(to->asMember().url()).second) {
                fail(source.address,
                     localError(Kind::usage, "Another one of this name goes there already."));
            } else {
                placements.push_back({source, *to});
            }
        }
        return placements;
    }

    void plan(const Placement& placement) {
        const Source& source = placement.source;
        const bool toldWhole = !source.isCollection || isSameServer(source.address, placement.to);
        if (toldWhole) {
            return events_.tell({attempt(), source.address.url(), placement.to.url(), source.size});
        }
        copyTreeOf(placement, {});
    }

    std::optional<NamedLock> nameLock(const std::vector<Placement>& placements) {
        if (options_.token.empty() || placements.empty()) return {};
        const Source& source = placements.front().source;
        if (source.isCollection) {
            fail(source.address,
                 localError(Kind::usage, "This is a collection: --token is a member's lock."));
            return {};
        }
        Result<NamedLock> named = NamedLock::make(session_, source.address, options_.token);
        if (named) return std::move(*named);
        fail(source.address, named.error());
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
            if (code_ == exitInterrupted) return;
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
                fail(each.source.address, found[i].error());
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
        fail(placement.source.address,
             localError(Kind::refused, fmt::format("{} is {}, which --force does not replace.",
                                                   placement.to.asMember().url(),
                                                   isThere ? "a collection" : "a file")));
    }

    void completeCollection(const Placement& placement) {
        const Result<Remote*> remote = servers_.of(placement.to);
        if (!remote) return fail(placement.to, remote.error());
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
        if (!known) return fail(placements.front()->source.address, known.error());
        Remote& remote = **known;
        if (deed_ == Deed::copy) {
            TaskGroup group(remote.loop());
            for (Placement* each : placements) {
                group.spawn(carryWithin(remote, deed_, overwrite_, unconditional, each));
            }
            remote.run(finishAll(group));
        }
        for (Placement* each : placements) {
            if (code_ == exitInterrupted) return;
            if (deed_ == Deed::move) moveWithin(remote, *each);
            if (each->error) {
                const std::string from = each->source.address.url();
                fail(from, withLocksWithin(session_.leftWork(), from, *each->error));
            } else {
                events_.tell(
                    {done(), each->source.address.url(), each->to.url(), each->source.size});
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
        if (!source) return fail(placement.source.address, source.error());
        const Result<Remote*> destination = servers_.of(placement.to);
        if (!destination) return fail(placement.to, destination.error());
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
        if (!done) return fail(from, advised(std::move(done).error()));
        if (deed_ == Deed::copy) {
            events_.tell({"copied", from.url(), placement.to.url(), member.size});
        }
        removeSources(between, copied);
    }

    // Gives whether all of it was copied.
    bool copyTreeOf(const Placement& placement, decltype(TreeCopy::copyMember) copyMember,
                    TransferMeter* meter = nullptr) {
        const Result<Remote*> source = servers_.of(placement.source.address);
        const Result<Remote*> destination = servers_.of(placement.to);
        if (!source || !destination) {
            fail(placement.to, !source ? source.error() : destination.error());
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
            complain(fmt::format(
                "{} {}; the same command with --force goes on", placement.source.address.url(),
                deed_ == Deed::move ? "was left whole, since not all of it was copied"
                                    : "was not copied whole"));
        }
        return complete;
    }

    void tell(const TreeStep& step) {
        if (step.error) {
            return fail(step.from, advised(*step.error));
        }
        const bool isDry = options_.telling.dryRun;
        if (step.isCollection) collections_.push_back(step.from);
        const std::string_view copied = isDry ? "copy" : "copied";
        events_.tell({step.isCollection ? (isDry ? "make" : "made") : copied, step.from, step.to,
                      step.size});
    }

    void removeSources(Between& between, const std::vector<CopiedMember>& copied) {
        if (deed_ == Deed::copy) return;
        bool areAllGuarded = true;
        for (const CopiedMember& each : copied) {
            const Result<Between::Removed> removed = between.removeSource(each);
            if (!removed) {
                fail(each.from, removed.error());
                if (code_ == exitInterrupted) return;
                continue;
            }
            areAllGuarded = areAllGuarded && removed->isGuarded;
            events_.tell({"moved", each.from, each.to, each.size});
        }
        // The innermost are told last.
        for (auto url = collections_.rbegin(); url != collections_.rend(); ++url) {
            const Result<void> removed = between.removeEmptied(*url);
            if (!removed) fail(*url, removed.error());
            if (code_ == exitInterrupted) return;
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
    Events events_;
    int code_ = exitDone;
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
