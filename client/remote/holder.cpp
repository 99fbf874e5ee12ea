#include "client/remote/holder.hpp"

#include <utility>

#include "platform/base/own_locks.hpp"
#include "platform/text/http_status.hpp"
#include "platform/weblnk/active_lock.hpp"
#include "platform/weblnk/requests.hpp"

namespace quillon {
namespace {

// tellsOfNone: set where the last of them has no lock that is told.
Task<Error> lookForHolder(Remote& remote, std::vector<std::string> urls, Error error,
                          bool* tellsOfNone) {
    for (const std::string& url : urls) {
        Result<vxhost::Answer> answer =
            co_await remote.send(vxhost::propertyRequest(url, "lockdiscovery"));
        if (!answer) continue;
        *tellsOfNone = vxhost::tellsOfNoLock({answer->status, answer->text});
        if (!vxhost::isSuccess(answer->status)) continue;
        const auto locks = vxhost::parseActiveLocks(answer->text);
        for (const auto& lock : locks) {
            error.sentences.push_back(vxhost::holderSentence(url, lock));
            vxhost::OwnLocks* known = remote.settings().ownLocks;
            std::string own = known ? known->explain(url, lock.token) : std::string();
            if (own.empty()) {
                error.locks.push_back({url, lock.token, false});
            } else {
                error.sentences.front() = std::move(own);  // for "somebody else's"
            }
        }
        if (!locks.empty()) break;
    }
    co_return std::move(error);
}

}  // namespace

Task<Error> withHolder(Remote& remote, std::vector<std::string> urls, Error error) {
    if (error.kind != Kind::locked) co_return std::move(error);
    urls.insert(urls.begin(), error.locked.begin(), error.locked.end());
    bool unused = false;
    co_return co_await lookForHolder(remote, std::move(urls), std::move(error), &unused);
}

Task<Error> withHolderOfMember(Remote& remote, std::string url, Error error) {
    if (error.kind != Kind::locked) co_return std::move(error);
    std::vector<std::string> urls = error.locked;
    urls.push_back(std::move(url));
    bool tellsOfNone = false;
    error = co_await lookForHolder(remote, std::move(urls), std::move(error), &tellsOfNone);
    if (tellsOfNone) error.sentences.front() = vxhost::lockedWithoutLock;
    co_return std::move(error);
}

}  // namespace quillon
