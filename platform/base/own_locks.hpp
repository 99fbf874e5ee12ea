// Locks of the person's own that are on a server already, and that stay there: as the program
// knows them.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vxhost {

struct OwnLock {
    std::string token;
    bool isNamed = false;       // by the person, who wants this one or none
    std::shared_ptr<void> use;  // the program's; goes when the lock is not used any more
};

// Called from any thread that works.
class OwnLocks {
public:
    virtual ~OwnLocks() = default;
    // The one on that resource, for a change of it; nothing where none is known that may be used.
    virtual std::optional<OwnLock> find(const std::string& url) = 0;
    // The resources in that collection, at any depth, on which some are known.
    virtual std::vector<std::string> lockedWithin(const std::string& collection) = 0;
    // What the server said of it: it was renewed and is used, or is not there any more. One that
    // ended by itself the person is told of, since the work goes on without it.
    virtual void noteUsed(const std::string& url, const std::string& token) = 0;
    virtual void noteGone(const std::string& url, const std::string& token) = 0;
    virtual void noteEnded(const std::string& url, const std::string& token) = 0;
    // Of a lock that is in the way: a sentence that says how it is the person's, and what to do.
    // Empty: it is none of theirs.
    virtual std::string explain(const std::string& url, const std::string& token) = 0;
};

}  // namespace vxhost
