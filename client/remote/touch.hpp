// A new empty member, or another date of one that is there.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "client/remote/remote.hpp"
#include "client/time.hpp"
#include "client/tree/put_facts.hpp"

namespace quillon {

enum class Touched : uint8_t {
    made,
    dated,
    keepsNoDates,    // the server; the member was left alone
    datesByContent,  // it takes a date only with a new content; left alone
};

// date: nothing is now. A new member is empty, and made only where nothing is; its date is that of
// its making where the server keeps none. facts: of the collection that it is in.
Task<Result<Touched>> touch(Remote& remote, std::string url, std::optional<Time> date,
                            PutFactsOnce& facts);

}  // namespace quillon
