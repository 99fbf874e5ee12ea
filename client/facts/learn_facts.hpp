// Finds out what a server does, by what it does with a scratch member.
#pragma once

#include <string>

#include "client/facts/server_facts.hpp"
#include "client/remote/remote.hpp"

namespace quillon {

// shown: also what nobody needs for writing, and costs the server more.
enum class FactsFor : bool { writing, showing };

// In the collection, whose URL ends in a slash: at most 25 requests to write (27 to show), within
// 15 round trips. The scratch member's name tells this machine's; it is gone afterwards, also after
// an interrupt, which is the one failure beside that of the connection. Where the server refuses
// the scratch member, what OPTIONS says is all that is known.
Task<Result<ServerFacts>> learnFacts(Remote& remote, std::string url, FactsFor purpose);

// Whether the server of the facts is the one that is there: by one OPTIONS.
Task<Result<bool>> isTheirServer(Remote& remote, std::string url, ServerFacts facts);

}  // namespace quillon
