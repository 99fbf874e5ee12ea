#include <fmt/format.h>

#include "platform/base/logger.hpp"
#include "platform/http/exchange.hpp"
#include "platform/weblnk/client.hpp"
#include "platform/weblnk/lock.hpp"
#include "platform/weblnk/requests.hpp"

namespace vxhost {
namespace {

// The URL of the collection that the URL's resource is a member of.
std::string parentOf(const std::string& url) {
    return url.substr(0, url.rfind('/') + 1);
}

// What a collection that answers so lets one do with a member that it does not have yet. A
// collection's own Allow speaks of itself: mod_dav's lacks PUT, for instance.
uint32_t allowedForNew(const Headers& parent) {
    const DavClasses classes = parseDavClasses(parent.joined("DAV"));
    uint32_t allow = vx::ALLOW_OPTIONS;
    if (classes.one || (parseAllowed(parent) & vx::ALLOW_PUT)) allow |= vx::ALLOW_PUT_NEW;
    if (classes.one) allow |= vx::ALLOW_MKCOL;
    if (classes.two) allow |= vx::ALLOW_LOCK | vx::ALLOW_UNLOCK;
    return allow;
}

}  // namespace

void options(CurlClient& client, int32_t& status, uint32_t& allow) {
    const Target& target = *client.target;
    refreshLocks(*client.target);
    Request request = optionsRequest(usableUrl(target));
    request.recalled = std::chrono::seconds(5);
    const Answer answer = exchange(target, request);
    client.optionsRecalled = answer.isRecalled;
    status = answer.status;
    allow = isSuccess(status) ? parseAllowed(answer.headers) : 0;

    const bool perhapsNew = (status == 404 || status == 405) && !request.url.ends_with('/');
    if (!perhapsNew) return;
    request.url = parentOf(request.url);
    const Answer parent = exchange(target, request);
    if (!isSuccess(parent.status)) return;
    allow = allowedForNew(parent.headers);
    // 405 speaks of OPTIONS alone: the member may be there.
    if (status == 405) allow |= impliedMethods(parseDavClasses(parent.headers.joined("DAV")));
    logLine(target.logger, vx::LOG_TRACE,
            fmt::format("OPTIONS {}: {}, so what its collection {} allows for a new member counts",
                        target.url, status, request.url));
    status = 200;
}

}  // namespace vxhost
