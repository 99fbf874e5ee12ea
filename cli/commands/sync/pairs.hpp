// The pair that a command is about, and how its events are told.
#pragma once

#include <string>
#include <string_view>

#include "cli/parser/parser.hpp"
#include "cli/session/session.hpp"
#include "sync/pair.hpp"
#include "sync/plan.hpp"
#include "sync/sync.hpp"

namespace quillon::cli {

// Of the folder, or of one that it is in. A failure says how one is made.
Result<sync::Pair> findPair(const std::string& folder,
                            sync::Purpose purpose = sync::Purpose::change);

// The site and the user by which it is named now, so that later runs get in as this one does.
Result<void> noteSite(sync::Pair& pair, Session& session, const Address& root);
// Its collection, by the site that is noted and as its user. Where that is gone, or for another
// server, this is told. A user of the command line comes before the one that is noted.
Result<Address> collectionOf(const sync::Pair& pair, Session& session);

// -C, which all commands on a working copy have: where they begin, in place of the current folder.
void addStartOption(CommandDefinition command, std::string& start);
// The folder as a word, for those that have no other words.
void addFolderWord(CommandDefinition command, std::string& folder);
// The word, from there. Both may be empty.
std::string folderFrom(const std::string& start, const std::string& word = {});

// "fetched"; planned: "fetch".
std::string_view wordOf(sync::Act act, bool planned);
// "given back here"; act: that was undone, or that undoes it.
std::string_view wordOfGivenBack(sync::Act act);
std::string_view reasonOf(sync::Conflict conflict);

}  // namespace quillon::cli
