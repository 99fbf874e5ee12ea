#include "platform/http/exchange.hpp"
#include "platform/weblnk/client.hpp"
#include "platform/weblnk/lock.hpp"
#include "platform/weblnk/properties.hpp"
#include "platform/weblnk/requests.hpp"

namespace vxhost {

void head(CurlClient& client, int32_t& status) {
    const Target& target = *client.target;
    refreshLocks(*client.target);
    Request request = headRequest(usableUrl(target));
    if (client.mayRecallHead()) request.recalled = std::chrono::seconds(1);
    const Answer answer = exchange(target, std::move(request));
    const int32_t answered = answer.status;
    client.toldSize = isSuccess(answered) ? parseFraming(answer.headers).length : std::nullopt;
    const bool doubtful = answered == 403 || answered == 404 || answered == 405;
    const bool asksOn = doubtful && (client.option & vx::CLIENT_HEAD_BY_PROPFIND);
    status = asksOn ? statusByProperties(target, answered) : answered;
    const bool underLock = !target.locks.empty();
    if (status == 404) client.known.noteHead(MemberState::missing(), underLock);
    if (isSuccess(status)) {  // that of a PROPFIND told nothing else
        const bool told = isSuccess(answered);
        client.known.noteHead(told ? parseMemberState(answer.headers) : MemberState(), underLock);
    }
}

}  // namespace vxhost
