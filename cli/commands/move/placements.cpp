#include "cli/commands/move/placements.hpp"

#include <fmt/format.h>

#include <optional>
#include <set>
#include <string>

#include "cli/commands/matching.hpp"
#include "cli/session/servers.hpp"
#include "cli/terminal/report.hpp"

namespace quillon::cli {
namespace {

class Placing {
public:
    Placing(Session& session, Deed deed, TransferOptions& options, TransferTeller& teller)
        : session_(session),
          deed_(deed),
          options_(options),
          teller_(teller),
          servers_(session.servers()) {}

    std::optional<std::vector<Placement>> run() {
        // In the order of the line: what it gives to open the way in is for its first URL.
        const std::vector<Address> named = parseSources();
        if (named.empty()) return {};
        const std::optional<Place> place = findPlace();
        if (!place) return {};
        return placeAll(findSources(named, *place), *place);
    }

private:
    std::vector<Address> parseSources() {
        std::vector<Address> named;
        for (size_t i = 0; i + 1 < options_.operands.size(); ++i) {
            const Result<Address> address = parseUrl(session_, options_.operands[i]);
            if (address) {
                named.push_back(*address);
            } else {
                teller_.noteFailure(exitCode(address.error().kind));
            }
        }
        return named;
    }

    std::optional<Place> findPlace() {
        const Result<Address> address = parseUrl(session_, options_.operands.back());
        options_.operands.pop_back();
        if (!address) {
            teller_.endWith(exitCode(address.error().kind));
            return {};
        }
        const auto found = servers_.look(*address);
        if (!found) {
            failAt(*address, found.error());
            return {};
        }
        Place place{*address};
        if (*found) {
            place.there = (*found)->isCollection ? Place::There::collection : Place::There::member;
        }
        const bool several = options_.operands.size() > 1 || !options_.pattern.empty();
        if (!several || place.there == Place::There::collection) return place;
        const bool isFile = place.there == Place::There::member;
        failAt(*address,
               isFile ? localError(Kind::usage, "This is a file: several go into a collection.")
                      : localError(Kind::notFound,
                                   "The server has no such collection, which several "
                                   "go into. mkcol -p creates it."));
        return {};
    }

    void failAt(const Address& place, const Error& error) {
        teller_.endWith(report(fmt::format("{} to", teller_.attempt()), place.url(), error));
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
                teller_.fail(asked[i], found[i].error());
            } else if (!*found[i]) {
                teller_.fail(asked[i],
                             localError(Kind::notFound, "There is nothing of this name."));
            } else {
                add(asked[i], (*found[i])->isCollection, (*found[i])->size, sources);
            }
        }
        return sources;
    }

    void addMatching(const Address& collection, const Place& place, std::vector<Source>& sources) {
        const auto takes = takesCollections() ? Collections::taken : Collections::left;
        const auto found = matchingMembers(session_, collection, options_.pattern, takes);
        if (!found) return teller_.fail(collection, found.error());
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
            return teller_.fail(address,
                                localError(Kind::usage,
                                           "This is a collection. -r copies it with all that is "
                                           "in it."));
        }
        if (!isCollection && !address.namesMember()) {
            return teller_.fail(address,
                                localError(Kind::usage, "This is a file, not a collection."));
        }
        sources.push_back({isCollection ? address.asCollection() : address, isCollection, size});
    }

    std::vector<Placement> placeAll(const std::vector<Source>& sources, const Place& place) {
        std::vector<Placement> placements;
        std::set<std::string> taken;
        for (const Source& source : sources) {
            const Result<Address> to = placeFor(source, place);
            if (!to) {
                teller_.fail(source.address, to.error());
            } else if (!taken.insert(to->asMember().url()).second) {
                teller_.fail(
                    source.address,
                    localError(Kind::usage, "Another one of this name goes there already."));
            } else {
                placements.push_back({source, *to});
            }
        }
        return placements;
    }

    Session& session_;
    const Deed deed_;
    TransferOptions& options_;
    TransferTeller& teller_;
    Servers& servers_;
};

}  // namespace

std::optional<std::vector<Placement>> findPlacements(Session& session, Deed deed,
                                                     TransferOptions& options,
                                                     TransferTeller& teller) {
    return Placing(session, deed, options, teller).run();
}

}  // namespace quillon::cli
