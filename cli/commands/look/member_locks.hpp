// The locks on what a listing shows.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "cli/terminal/json.hpp"
#include "client/found_lock.hpp"
#include "client/lock_notes.hpp"

namespace quillon::cli {

class MemberLocks {
public:
    // Of a collection and its members; of a member, whose name is given, alone. Nothing: the server
    // does not tell of locks.
    explicit MemberLocks(std::optional<std::vector<FoundLock>> found,
                         const std::string& member = {});

    bool areTold() const { return areTold_; }
    // One of those on the member, or on all of the collection; null: none.
    const FoundLock* on(const std::string& name) const;

private:
    bool areTold_;
    std::map<std::string, FoundLock> byName_;
    std::optional<FoundLock> onAll_;
};

// Whether it is the person's own, as notes here tell, which are read once they are needed.
class OwnNotes {
public:
    bool isMine(const FoundLock& lock);

private:
    std::optional<std::vector<FoundNote>> notes_;
};

// "locked", who holds it, until when, and whether it is the person's own.
void addLock(JsonObject& object, const FoundLock* lock, OwnNotes& notes);
// The same of the first, and "locks": all of them.
void addLocks(JsonObject& object, const std::vector<FoundLock>& locks, OwnNotes& notes);

}  // namespace quillon::cli
