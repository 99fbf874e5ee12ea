// What the parts of one run share.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "client/tree/local_folder.hpp"
#include "client/tree/put_file.hpp"
#include "sync/journal.hpp"
#include "sync/look_there.hpp"
#include "sync/store.hpp"
#include "sync/sync.hpp"

namespace quillon::sync {

struct Work {
    Remote& remote;
    Pair& pair;
    const LocalFolder& folder;
    Store& store;
    Journal& journal;
    FilePutter& putter;
    PutFactsOnce& facts;
    const SyncOptions& options;
    int64_t run = 0;
    std::optional<Time> asked{};  // when the server was walked, by its clock
    Trees trees{};                // of the plan
    // Conflicts, and what is blocked: told once no other plan follows, which finds them again.
    std::vector<SyncEvent> waiting{};

    const HereNode* here(const std::string& path) const;
    const ThereNode* there(const std::string& path) const;
    const BaseNode* base(const std::string& path) const;
    std::string url(const std::string& path, bool isCollection = false) const {
        return urlOf(pair.url(), trees.there, path, isCollection);
    }
    // What is here now, a file or nothing, if that is what the plan saw; else Kind::changedHere.
    Result<std::optional<LocalEntry>> lookHere(const std::string& path) const;
    // Of the content here and there; empty where it is not known.
    std::string hashHere(const std::string& path) const;
    std::string hashThere(const std::string& path) const;

    // What goes into the state with the next group.
    void noteDone(int64_t intent, Deed deed);
    void noteUndone(int64_t intent);
    void noteNode(const std::string& path, std::optional<BaseNode> node);
};

// How a change ended: what moved.
struct Done {
    uint64_t size = 0;              // in bytes
    std::optional<Error> remark{};  // of what is done all the same
    std::optional<Error> mishap{};  // the same, which a person has to know of
};

}  // namespace quillon::sync
