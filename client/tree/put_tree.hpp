// A local folder into a collection of a server.
#pragma once

#include <string>

#include "client/remote/remote.hpp"
#include "client/tree/get_tree.hpp"
#include "client/tree/put_facts.hpp"

namespace quillon {

// The root's URL ends in a slash; it is made where it is not there, in a collection that is. Fails
// when it can neither be listed nor made; what else fails is told of the file, and the others go
// on. facts: asked for when the first member is to be replaced.
Task<Result<void>> putTree(Remote& remote, std::string rootUrl, const LocalFolder& folder,
                           const TreeOptions& options, PutFactsOnce& facts);

}  // namespace quillon
