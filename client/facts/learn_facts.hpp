// Finds out what a server does, by what it does with a scratch member.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "client/facts/server_facts.hpp"
#include "client/remote/remote.hpp"

namespace quillon {

// showing: also what nobody needs for writing. looking: the same, without a scratch member.
enum class FactsFor : uint8_t { writing, showing, looking };

// What a person wants to know beside the facts.
struct CollectionState {
    int scratchStatus = 0;  // by which the scratch member was refused; 0: it was not
    std::optional<uint64_t> available{}, used{};  // of its quota (RFC 4331), in bytes
};

// In the collection, whose URL ends in a slash: at most 25 requests, within 15 round trips. The
// scratch member's name tells this machine's; it is gone afterwards, also after an interrupt, which
// is the one failure beside that of the connection. Where the server refuses the scratch member,
// what OPTIONS says, and what is told of other members, is all that is known. state: may be null.
// Who shows it learns of a collection that is not there by a failure.
Task<Result<ServerFacts>> learnFacts(Remote& remote, std::string url, FactsFor purpose,
                                     CollectionState* state);

// Whether the server of the facts is the one that is there: by one OPTIONS.
Task<Result<bool>> isTheirServer(Remote& remote, std::string url, ServerFacts facts);

}  // namespace quillon
