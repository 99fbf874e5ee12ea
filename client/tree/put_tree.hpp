// A local folder into a collection of a server.
#pragma once

#include <string>

#include "client/remote/remote.hpp"
#include "client/tree/get_tree.hpp"
#include "client/tree/replace.hpp"

namespace quillon {

// What is known of the server that is written to.
struct PutFacts {
    Guard guard = Guard::look;
    ServerClock clock{};
    std::string dateHeader{};  // that keeps a file's date: "X-OC-Mtime"; empty: none does
};

// The root's URL ends in a slash; it is made where it is not there, in a collection that is. Fails
// when it can neither be listed nor made; what else fails is told of the file, and the others go
// on. facts: asked for when the first member is to be replaced.
using AskFacts = std::function<Task<Result<PutFacts>>()>;
Task<Result<void>> putTree(Remote& remote, std::string rootUrl, const LocalFolder& folder,
                           const TreeOptions& options, AskFacts askFacts);

}  // namespace quillon
