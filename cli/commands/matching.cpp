#include "cli/commands/matching.hpp"

#include <fmt/format.h>
#include <fnmatch.h>

#include "cli/commands/what_is_there.hpp"

namespace quillon::cli {

bool matchesPattern(const std::string& pattern, const std::string& name) {
    return fnmatch(pattern.c_str(), name.c_str(), FNM_PERIOD) == 0;
}

Result<std::vector<MatchedMember>> matchingMembers(Session& session, const Address& collection,
                                                   const std::string& pattern,
                                                   Collections collections) {
    const Address address = collection.asCollection();
    const Result<Listing> listing = session.list(address);
    if (!listing) return explainNotOpened(session, address, listing.error());
    std::vector<MatchedMember> members;
    for (const Entry entry : *listing) {
        if (entry.isCollection() && collections == Collections::left) continue;
        if (!matchesPattern(pattern, entry.name())) continue;
        const Address member = address.memberBySegment(entry.segment());
        members.push_back({entry.isCollection() ? member.asCollection() : member,
                           entry.isCollection(), entry.size()});
    }
    if (!members.empty() || pattern == "*") return members;
    return localError(Kind::notFound, fmt::format("None of its members matches {}.", pattern));
}

void addMatchOption(CommandDefinition command, std::string& pattern, const std::string& deed) {
    command
        .addOption("--match", pattern,
                   fmt::format("The URLs are collections: {} their members whose names match; "
                               "\"*\" is all",
                               deed))
        .typeName("PATTERN");
}

}  // namespace quillon::cli
