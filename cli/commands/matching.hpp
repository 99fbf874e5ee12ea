// --match: members of collections by a pattern of their names.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "cli/parser/parser.hpp"
#include "cli/session/session.hpp"

namespace quillon::cli {

struct MatchedMember {
    Address address;  // a collection's ends in a slash
    bool isCollection;
    std::optional<uint64_t> size;  // in bytes
};

enum class Collections : bool { left, taken };

// The members of the collection whose names match, as a shell's patterns do: a dot at the beginning
// has to be said. Where none does, but for "*", that is Kind::notFound.
Result<std::vector<MatchedMember>> matchingMembers(Session& session, const Address& collection,
                                                   const std::string& pattern,
                                                   Collections collections);

bool matchesPattern(const std::string& pattern, const std::string& name);

// The option; the meaning says what is done with them.
void addMatchOption(CommandDefinition command, std::string& pattern, const std::string& deed);

}  // namespace quillon::cli
