// The locks on what a listing shows.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "cli/terminal/json.hpp"
#include "client/remote/locks.hpp"

namespace quillon::cli {

class MemberLocks {
public:
    // Of a collection and its members; of a member, whose name is given, alone.
    explicit MemberLocks(std::vector<FoundLock> found, const std::string& member = {});

    // One of those on the member, or on all of the collection; null: none.
    const FoundLock* on(const std::string& name) const;

private:
    std::map<std::string, FoundLock> byName_;
    std::optional<FoundLock> onAll_;
};

// "locked", who holds it, and until when.
void addLock(JsonObject& object, const FoundLock* lock);

}  // namespace quillon::cli
