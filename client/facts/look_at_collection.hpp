// What a collection tells of its server without anything being written.
#pragma once

#include <string>

#include "client/facts/learn_facts.hpp"

namespace quillon {

// That it is there, and its quota. state: may be null.
Task<Result<void>> lookAtCollection(Remote& remote, std::string url, ServerFacts* facts,
                                    CollectionState* state);

// Whether it lists all that is below it in one answer, which is ended as soon as it is one.
Task<> tryDepthInfinity(Remote& remote, std::string url, ServerFacts* facts);

// Whether its members have entity tags, as a listing tells.
Task<bool> tellsTags(Remote& remote, std::string url);

}  // namespace quillon
