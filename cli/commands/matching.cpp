#include "cli/commands/matching.hpp"

#include <fmt/format.h>
#include <fnmatch.h>

#include "cli/commands/what_is_there.hpp"
#include "platform/text/url.hpp"

namespace quillon::cli {

bool matchesPattern(const std::string& pattern, const std::string& name) {
    return fnmatch(pattern.c_str(), name.c_str(), FNM_PERIOD) == 0;
}

Result<std::vector<MatchedMember>> matchingMembers(Session& session, const Address& collection,
                                                   const std::string& pattern,
                                                   Collections collections) {
    const Address address = collection.asCollection();
    Result<Members> listing = session.list(address);
    if (!listing) return explainNotOpened(session, address, std::move(listing).error());
    std::vector<MatchedMember> members;
    for (const Resource& each : listing->resources) {
        if (each.isCollection && collections == Collections::left) continue;
        if (!matchesPattern(pattern, vxhost::decodeSegment(each.segment))) continue;
        const Address member = address.memberBySegment(each.segment);
        if (each.isCollection) {
            members.push_back({member.asCollection(), true, std::nullopt});
        } else {
            members.push_back({member, false, each.size});
        }
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
