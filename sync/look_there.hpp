// What is in the collection of a pair.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "client/remote/remote.hpp"
#include "client/remote/resource.hpp"
#include "client/tree/filter.hpp"
#include "client/tree/local_names.hpp"
#include "sync/node.hpp"

namespace quillon::sync {

struct ThereLook {
    ThereTree tree;
    std::string unseen;                 // a part of it that was not told; empty: all was
    std::set<std::string> holdLeftOut;  // paths of collections with what the filter does not take
    std::optional<Time> asked;          // by the server's clock, when the walk began
    std::string server;                 // as it calls itself, without versions; printable
};

// Fails where the root itself cannot be listed, or when it is interrupted. folding: of the folder
// here, where names that are one file there block each other.
Task<Result<ThereLook>> lookThere(Remote& remote, std::string rootUrl, const Filter& filter,
                                  Folding folding);

ThereState thereStateOf(const Resource& resource);
Resource resourceOf(const ThereState& state);

// As it is written into a base: what was changed less than two seconds before it was asked for may
// be changed once more under the same tag and date.
ThereState settled(ThereState state, std::optional<Time> asked);

// The URL of what is, or is going to be, under the path: segments as the server spells them.
std::string urlOf(const std::string& rootUrl, const ThereTree& tree, const std::string& path,
                  bool isCollection);

}  // namespace quillon::sync
