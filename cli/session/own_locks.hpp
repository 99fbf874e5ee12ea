// The locks of the person's own under which a command works: the one that --token names, and those
// that `quillon lock` left on the server and noted.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "cli/session/left_work.hpp"
#include "client/error.hpp"
#include "platform/base/own_locks.hpp"

namespace quillon::cli {

class OwnLocks : public vxhost::OwnLocks {
public:
    // tellsUse: in a sentence on standard error, once of each.
    OwnLocks(LeftWork& notes, bool tellsUse) : notes_(notes), tellsUse_(tellsUse) {}

    void beginCommand();

    // For the member's changes, until the command ends. The token is a URI.
    void name(const std::string& url, std::string token);
    void forgetNames();

    std::optional<vxhost::OwnLock> find(const std::string& url) override;
    std::vector<std::string> lockedWithin(const std::string& collection) override;
    void noteUsed(const std::string& url, const std::string& token) override;
    void noteGone(const std::string& url, const std::string& token) override;
    void noteEnded(const std::string& url, const std::string& token) override;
    std::string explain(const std::string& url, const std::string& token) override;

private:
    vxhost::OwnLock use(std::string token, bool isNamed, std::shared_ptr<void> note);
    bool isUsed(const std::string& token) const;  // by this process

    LeftWork& notes_;
    const bool tellsUse_;
    std::mutex mutex_;                                 // guards what follows
    std::map<std::string, std::string> named_;         // tokens by URL
    std::set<std::string> told_;                       // URLs
    std::set<std::string> busy_;                       // tokens that another process used
    std::map<std::string, std::weak_ptr<void>> uses_;  // by token
};

// Why what was to be done with a collection failed, where locks of the person's own lie in it.
Error withLocksWithin(LeftWork& notes, const std::string& collection, Error error);

}  // namespace quillon::cli
