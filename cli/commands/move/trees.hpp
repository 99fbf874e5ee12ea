// Whole trees, down and up: what get and put do with -r.
#pragma once

#include <string>
#include <vector>

#include "cli/commands/move/telling.hpp"
#include "cli/parser/parser.hpp"
#include "cli/session/session.hpp"
#include "client/tree/filter.hpp"

namespace quillon::cli {

struct TreeChoice {
    bool isTree = false;  // -r
    bool all = false, checksum = false, force = false;
    bool remove = false, removeUnknown = false, yes = false;
    Telling telling{.isMany = true};
    bool tellsSame = false;  // also what is the same already, and what one side has alone
    bool follow = false;     // links on this side, on the way up
    bool forgets = false;    // no notes are made or believed
    Filter filter;
};

// Without those that the command has for single members, too: --force and --no-memory.
void addTreeOptions(CommandDefinition command, TreeChoice& choice);
void addFollowOption(CommandDefinition command, TreeChoice& choice);

// Whether there is no tree, but an option that would change nothing without one, or tell nothing:
// what is no try must not pass for one. Says so.
bool wantsMissingTree(const TreeChoice& choice);

// Collections into folders of their names in the directory; the root of a server: what it holds.
int getTrees(Session& session, std::vector<std::string>& urls, const std::string& directory,
             TreeChoice& choice);

// Folders into the collection, under their names.
int putTrees(Session& session, std::vector<std::string>& folders, const Address& url,
             TreeChoice& choice);

}  // namespace quillon::cli
